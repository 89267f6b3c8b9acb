#include "foundation/object.h"

#include "foundation/class_registry.h"
#include "foundation/dependencies.h"

namespace orbi {

namespace {
CmClassInfo objectInfo{CmObject::className, nullptr, [] { return new CmObject; }, sizeof(CmObject),
                       0};
[[maybe_unused]] const bool objectRegistered = (CmObject::info = &objectInfo, true);
} // namespace

CmResult CmObject::queryInterface(const FUID& id, void** out)
{
  if (!out)
    return resultBadArgument;
  if (id.isZero()) {
    *out = this;
    return resultOk;
  }
  if (id == unknownInterfaceId) {
    retain();
    *out = static_cast<FUnknown*>(this);
    return resultOk;
  }
  *out = nullptr;
  return resultNoInterface;
}

void CmObject::destroy(uint32_t flags)
{
  if (flags & 1)
    delete this;
  else
    this->~CmObject();
}

int CmObject::compare(const CmObject* other) const
{
  if (this == other)
    return 0;
  return reinterpret_cast<uintptr_t>(this) > reinterpret_cast<uintptr_t>(other) ? 1 : -1;
}

uint32_t CmObject::hash(uint32_t tableSize) const
{
  return tableSize ? static_cast<uint32_t>((reinterpret_cast<uintptr_t>(this) >> 4) % tableSize)
                   : 0;
}

int32_t CmObject::releaseRef()
{
  // Release order: what this thread did to the object is done before another one frees it.
  int32_t before = refCount_.fetch_sub(1, std::memory_order_acq_rel);
  if (before == 1) {
    destroy(1);
    return 0;
  }
  return before - 1;
}

void CmObject::addDependent(CmObject* dependent)
{
  if (FDependencies* table = FDependencies::instance())
    table->addDependent(this, dependent);
}

void CmObject::removeDependent(CmObject* dependent)
{
  if (FDependencies* table = FDependencies::instance())
    table->removeDependent(this, dependent);
}

void CmObject::changed(int32_t code)
{
  if (FDependencies* table = FDependencies::instance())
    table->changed(this, code);
  onChanged();
}

void CmObject::deferChanged(int32_t code)
{
  if (FDependencies* table = FDependencies::instance())
    table->deferChanged(this, code);
  else
    onChanged();
}

void CmObject::update(CmObject*, int32_t) {}

bool CmObject::read(FStream&)
{
  return true;
}

bool CmObject::write(FStream&) const
{
  return true;
}

bool CmObject::storeAttributes(FAttributes&) const
{
  return false;
}

bool CmObject::loadAttributes(const FAttributes&)
{
  return false;
}

int32_t CmObject::handleMessage(FMessage&)
{
  return 0;
}

CmObject* objectBehind(FUnknown* unknown)
{
  void* object = nullptr;
  if (!unknown || unknown->queryInterface(FUID{}, &object) != resultOk)
    return nullptr;
  return static_cast<CmObject*>(object);
}

} // namespace orbi
