#include "ui/values/controller.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(FControllerEntry);

bool FControllerEntry::isEqual(const CmObject* other) const
{
  auto* entry = castTo<FControllerEntry>(other);
  return entry && name_ == entry->name_.view();
}

int FControllerEntry::compare(const CmObject* other) const
{
  auto* entry = castTo<FControllerEntry>(other);
  if (!entry)
    return CmObject::compare(other);
  const int order = name_.compare(entry->name_.text(), TextCompare::bytes);
  return (order > 0) - (order < 0);
}

} // namespace orbi
