#include "foundation/container.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER_ABSTRACT(CmContainer);

void CmIterator::destroy(uint32_t flags)
{
  if (flags & 1)
    delete this;
  else
    this->~CmIterator();
}

int32_t CmContainer::indexOf(const CmObject* item) const
{
  CmIteration items(*this);
  for (int32_t index = 0; !items.atEnd(); ++index)
    if (items.next() == item)
      return index;
  return -1;
}

bool CmContainer::storeAttributes(FAttributes& attributes) const
{
  return attributes.setInt("ownership", static_cast<int64_t>(ownership_));
}

bool CmContainer::loadAttributes(const FAttributes& attributes)
{
  int64_t stored = 0;
  if (attributes.getInt("ownership", stored) && stored >= 0 && stored <= 2)
    ownership_ = static_cast<CmOwnership>(stored);
  return true;
}

} // namespace orbi
