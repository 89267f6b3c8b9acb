#include "foundation/association.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(CmAssociation);
CM_REGISTER(CmBTreeDictionary);

namespace {

/// The key that an argument stands for: an association's, or the argument itself.
const CmObject* keyOf(const CmObject* object)
{
  auto* association = castTo<CmAssociation>(object);
  return association ? association->key() : object;
}

} // namespace

CmAssociation::CmAssociation(CmObject* key, CmObject* value) : key_(key), value_(value)
{
  if (key_)
    key_->retain();
  if (value_)
    value_->retain();
}

CmAssociation::~CmAssociation()
{
  if (key_)
    key_->releaseRef();
  if (value_)
    value_->releaseRef();
}

void CmAssociation::setValue(CmObject* value)
{
  if (value)
    value->retain();
  if (value_)
    value_->releaseRef();
  value_ = value;
}

bool CmAssociation::isEqual(const CmObject* other) const
{
  const CmObject* key = keyOf(other);
  return key_ && key ? key_->isEqual(key) : key_ == key;
}

int CmAssociation::compare(const CmObject* other) const
{
  const CmObject* key = keyOf(other);
  return key_ && key ? key_->compare(key) : CmObject::compare(other);
}

uint32_t CmAssociation::hash(uint32_t tableSize) const
{
  return key_ ? key_->hash(tableSize) : 0;
}

} // namespace orbi
