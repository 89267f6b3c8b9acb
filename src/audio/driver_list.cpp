#include "audio/driver_list.h"

#include "foundation/object.h"
#include "foundation/uid.h"
#include "platform/fault_guard.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace orbi {

namespace {

constexpr size_t longestName = 127;

LoomDriverEntry entryFor(const platform::DriverRegistration& registration, int32_t index)
{
  LoomDriverEntry entry;
  entry.index = index;
  FUID id;
  if (id.fromRegistryText(registration.classId))
    std::copy_n(id.bytes(), 16, entry.classId.begin());
  entry.name = registration.hasDescription ? registration.description : registration.key;
  entry.name.resize(std::min(entry.name.size(), longestName));
  entry.server = registration.server;
  return entry;
}

} // namespace

LoomDriverList::LoomDriverList(const std::vector<platform::DriverRegistration>& registrations)
{
  for (const platform::DriverRegistration& registration : registrations)
    entries_.push_back(entryFor(registration, count()));
}

LoomDriverList::~LoomDriverList()
{
  unselect();
}

int32_t LoomDriverList::name(int32_t index, char* out, int32_t limit) const
{
  if (!out || limit < 4)
    return noBuffer;
  if (index < 0 || index >= count())
    return noSuchDriver;
  const std::string& whole = entries_[size_t(index)].name;
  bool cut = whole.size() >= static_cast<size_t>(limit);
  std::string shown = cut ? whole.substr(0, size_t(limit) - 4) + "..." : whole;
  std::memcpy(out, shown.c_str(), shown.size() + 1);
  return 0;
}

int32_t LoomDriverList::names(char (*out)[nameLimit], int32_t maximum) const
{
  int32_t filled = std::min(count(), std::max(maximum, 0));
  for (int32_t i = 0; i < filled; ++i)
    name(i, out[i], nameLimit);
  return filled;
}

bool LoomDriverList::selectedName(char (&out)[nameLimit]) const
{
  return selected_ >= 0 && name(selected_, out, nameLimit) == 0;
}

int32_t LoomDriverList::findByName(const char* wanted) const
{
  char cut[nameLimit];
  for (int32_t i = 0; i < count(); ++i)
    if (name(i, cut, nameLimit) == 0 && std::strcmp(cut, wanted) == 0)
      return i;
  return -1;
}

bool LoomDriverList::selectByName(const char* wanted)
{
  int32_t index = wanted ? findByName(wanted) : -1;
  if (index < 0)
    return false;
  char former[nameLimit] = {};
  bool hadSelection = selectedName(former);
  unselect();

  LoomDriver* driver = nullptr;
  if (createDriver(index, &driver) == 0) {
    entries_[size_t(index)].interface = driver;
    selected_ = index;
    loom::setCurrent(driver);
    return true;
  }
  if (hadSelection && std::strcmp(former, wanted) != 0)
    selectByName(former);
  return false;
}

void LoomDriverList::unselect()
{
  if (selected_ >= 0)
    releaseDriver(entries_[size_t(selected_)]);
  selected_ = -1;
  loom::setCurrent(nullptr);
}

void LoomDriverList::abandonSelected()
{
  if (selected_ < 0)
    return;
  LoomDriverEntry& entry = entries_[size_t(selected_)];
  entry.interface = nullptr;
  entry.module.abandon();
}

int32_t LoomDriverList::createDriver(int32_t index, LoomDriver** out)
{
  if (!out)
    return noBuffer;
  if (index < 0 || index >= count())
    return noSuchDriver;
  LoomDriverEntry& entry = entries_[size_t(index)];
  if (entry.interface)
    return alreadyOpen;
  constexpr auto failed = static_cast<int32_t>(resultFailed);
  error_ = "the module faulted while it was loaded";
  platform::Module module;
  platform::guarded([&] { module = platform::Module::load(entry.server, error_); });
  if (!module)
    return failed;
  auto* create =
      module.function<std::remove_pointer_t<LoomCreateDriverFunction>>("LoomCreateDriver");
  int32_t result = failed;
  void* made = nullptr;
  if (!create) {
    error_ = "the module has no LoomCreateDriver: " + entry.server.string();
  } else if (!platform::guarded([&] { result = create(entry.classId.data(), &made); })) {
    error_ = "the module faulted while it made the driver: " + entry.server.string();
    module.abandon(); // nobody knows what of it still runs
    return failed;
  } else if (result == 0 && made) {
    error_.clear();
    entry.module = std::move(module);
    *out = static_cast<LoomDriver*>(made);
    return 0;
  } else {
    error_ = "the module makes no driver of this class: " + entry.server.string();
  }
  closeModule(module);
  return result ? result : failed;
}

/// A module's own clean-up may fault, too; it then stays.
void LoomDriverList::closeModule(platform::Module& module)
{
  if (!platform::guarded([&] { module.close(); }))
    module.abandon();
}

void LoomDriverList::releaseDriver(LoomDriverEntry& entry)
{
  LoomDriver* driver = std::exchange(entry.interface, nullptr);
  if (driver && !platform::guarded([&] { driver->table->release(driver); }))
    entry.module.abandon();
  closeModule(entry.module);
}

} // namespace orbi
