#include "foundation/pointer_object.h"

#include "foundation/class_registry.h"
#include "foundation/stream.h"

namespace orbi {

CM_REGISTER(FPointer);
CM_REGISTER(FIndex);

bool FPointer::isEqual(const CmObject* other) const
{
  auto* same = castTo<FPointer>(other);
  return same && same->pointer == pointer;
}

int FPointer::compare(const CmObject* other) const
{
  auto* same = castTo<FPointer>(other);
  if (!same)
    return CmObject::compare(other);
  auto a = reinterpret_cast<uintptr_t>(pointer);
  auto b = reinterpret_cast<uintptr_t>(same->pointer);
  return (a > b) - (a < b);
}

uint32_t FPointer::hash(uint32_t tableSize) const
{
  auto address = reinterpret_cast<uintptr_t>(pointer);
  return tableSize ? static_cast<uint32_t>((address >> 4) % tableSize) : 0;
}

bool FIndex::isEqual(const CmObject* other) const
{
  auto* same = castTo<FIndex>(other);
  return same && same->index == index;
}

int FIndex::compare(const CmObject* other) const
{
  auto* same = castTo<FIndex>(other);
  return same ? (index > same->index) - (index < same->index) : CmObject::compare(other);
}

uint32_t FIndex::hash(uint32_t tableSize) const
{
  return tableSize ? static_cast<uint32_t>(index) % tableSize : 0;
}

bool FIndex::read(FStream& stream)
{
  return stream.readInt32(index);
}

bool FIndex::write(FStream& stream) const
{
  return stream.writeInt32(index);
}

} // namespace orbi
