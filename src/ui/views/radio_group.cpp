#include "ui/views/radio_group.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(URadioGroup);

int32_t URadioGroup::indexOf(const UView& member) const
{
  for (size_t i = 0; i < children().size(); ++i)
    if (children()[i] == &member)
      return static_cast<int32_t>(i);
  return -1;
}

bool URadioGroup::isChosen(const UView& member) const
{
  return value() && value()->getValue() - value()->getMin() == indexOf(member);
}

bool URadioGroup::choose(const UView& member)
{
  const int32_t index = indexOf(member);
  if (!value() || index < 0 || isChosen(member) || !isEnabled() || value()->isReadOnly())
    return false;
  beginEdit();
  value()->setInt(index + value()->getMin());
  endEdit();
  return true;
}

} // namespace orbi
