#include "foundation/uid_object.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/stream.h"
#include "foundation/string.h"

#include <cstring>

namespace orbi {

CM_REGISTER(CmUID);
CM_REGISTER(CmDelegatingUnknown);

bool CmUID::isEqual(const CmObject* other) const
{
  auto* id = castTo<CmUID>(other);
  return id && id->uid == uid;
}

uint32_t CmUID::hash(uint32_t tableSize) const
{
  auto [a, b, c, d] = uid.words();
  return tableSize ? (a ^ b * 31 ^ c * 961 ^ d * 29791) % tableSize : 0;
}

bool CmUID::read(FStream& stream)
{
  CmString text;
  return text.read(stream) && uid.fromByteText(text.view());
}

bool CmUID::write(FStream& stream) const
{
  return stream.writeText(uid.toByteText().c_str());
}

bool CmUID::storeAttributes(FAttributes& attributes) const
{
  return attributes.setString("GUID", uid.toPlainText().c_str());
}

bool CmUID::loadAttributes(const FAttributes& attributes)
{
  const char* text = attributes.getString("GUID");
  return text && uid.fromPlainText(text);
}

CmDelegatingUnknown::CmDelegatingUnknown(FUnknown* unknown, IDelegateOwner* owner)
    : unknown_(unknown), owner_(owner)
{
  if (owner_)
    owner_->registerDelegate(this);
}

CmDelegatingUnknown::CmDelegatingUnknown(const CmDelegatingUnknown& other)
    : CmClass(other), unknown_(other.unknown_)
{
  if (unknown_)
    unknown_->addRef();
}

CmDelegatingUnknown::~CmDelegatingUnknown()
{
  if (unknown_)
    unknown_->release();
  if (owner_)
    owner_->unregisterDelegate(this);
}

CmResult CmDelegatingUnknown::queryInterface(const FUID& id, void** out)
{
  return unknown_ ? unknown_->queryInterface(id, out) : CmObject::queryInterface(id, out);
}

bool CmDelegatingUnknown::isEqual(const CmObject* other) const
{
  if (other && other->isA(className))
    return static_cast<const CmDelegatingUnknown*>(other)->owner_ == owner_;
  return CmObject::isEqual(other);
}

bool CmDelegatingUnknown::read(FStream& stream)
{
  CmUID id;
  if (!id.read(stream))
    return false;
  if (unknown_)
    unknown_->release();
  unknown_ =
      FComponentSource::instance ? FComponentSource::instance->createComponent(id.uid) : nullptr;
  void* found = nullptr;
  if (!unknown_ || unknown_->queryInterface(IPersistent::interfaceId, &found) != resultOk)
    return false;
  auto* component = static_cast<IPersistent*>(found);
  bool complete = component->readFrom(stream);
  component->release();
  return complete;
}

bool CmDelegatingUnknown::write(FStream& stream) const
{
  void* found = nullptr;
  if (!unknown_ || unknown_->queryInterface(IPersistent::interfaceId, &found) != resultOk)
    return false;
  auto* component = static_cast<IPersistent*>(found);
  bool complete = CmUID(component->componentId()).write(stream) && component->writeTo(stream);
  component->release();
  return complete;
}

} // namespace orbi
