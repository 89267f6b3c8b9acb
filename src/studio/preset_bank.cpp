#include "studio/preset_bank.h"

#include "foundation/class_registry.h"

#include <vector>

namespace orbi {

CM_REGISTER_ABSTRACT(PPresetBank);

namespace {

/// Visits the banks of a tree in the order of their numbers, until one is found.
template <class Visit>
const PPresetBank* firstBank(const PPresetBank& top, Visit isWanted)
{
  std::vector<const PPresetBank*> pending{&top};
  while (!pending.empty()) {
    const PPresetBank* bank = pending.back();
    pending.pop_back();
    if (isWanted(*bank))
      return bank;
    for (int32_t i = bank->countChildren(); i-- > 0;)
      if (auto* below = castTo<PPresetBank>(bank->childAt(i)))
        pending.push_back(below);
  }
  return nullptr;
}

} // namespace

int32_t countAllPresets(const PPresetBank& bank)
{
  int32_t count = 0;
  firstBank(bank, [&](const PPresetBank& each) {
    count += each.countPresets();
    return false;
  });
  return count;
}

const PPresetBank* findPreset(const PPresetBank& bank, int32_t number, int32_t& index)
{
  if (number < 0)
    return nullptr;
  index = number;
  return firstBank(bank, [&](const PPresetBank& each) {
    const int32_t count = each.countPresets();
    if (index < count)
      return true;
    index -= count;
    return false;
  });
}

PPresetBank* findPreset(PPresetBank& bank, int32_t number, int32_t& index)
{
  return const_cast<PPresetBank*>(findPreset(std::as_const(bank), number, index));
}

} // namespace orbi
