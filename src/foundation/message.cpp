#include "foundation/message.h"

#include "foundation/class_registry.h"
#include "foundation/stream.h"

namespace orbi {

CM_REGISTER(FMessage);
CM_REGISTER(NMessage);

namespace {

DeferredRegistration messageInterface{[] {
  registerClassFactory(IMessage::interfaceId, [] { return static_cast<CmObject*>(new FMessage); });
}};

bool mayTravel(const FStringIDAttribute& value)
{
  return (value.kind() & (attributeUser0 | attributeNoExport)) == 0;
}

} // namespace

FMessage::FMessage(const FMessage& other) : CmClass(other), id_(other.id_)
{
  if (other.arguments_)
    require().copyValues(*other.arguments_);
}

FMessage& FMessage::operator=(const FMessage& other)
{
  if (this == &other)
    return *this;
  id_ = other.id_;
  arguments_ = nullptr;
  if (other.arguments_)
    require().copyValues(*other.arguments_);
  return *this;
}

FAttributes& FMessage::require()
{
  if (!arguments_)
    arguments_ = make<FAttributes>();
  return *arguments_;
}

void FMessage::setInt(const char* key, int64_t value)
{
  require().setInt(key, value);
}

int64_t FMessage::getInt(const char* key) const
{
  return arguments_ ? arguments_->getInt(key) : 0;
}

void FMessage::setFloat(const char* key, double value)
{
  require().setDouble(key, value);
}

double FMessage::getFloat(const char* key) const
{
  return arguments_ ? arguments_->getDouble(key) : 0.0;
}

void FMessage::setString(const char* key, const char* text)
{
  require().setString(key, text);
}

const char* FMessage::getString(const char* key) const
{
  return arguments_ ? arguments_->getString(key) : nullptr;
}

void FMessage::setObject(const char* key, CmObject* object, ObjectMode mode)
{
  requireLocal(key).setObject(object, mode);
}

/// Marked as one that stays off streams: a pointer means nothing on the other side.
FStringIDAttribute& FMessage::requireLocal(const char* key)
{
  FStringIDAttribute& value = require().require(key, 1);
  value.setUserFlags(1);
  return value;
}

CmObject* FMessage::getObject(const char* key) const
{
  return arguments_ ? arguments_->getObject(key) : nullptr;
}

CmResult FMessage::queryInterface(const FUID& id, void** out)
{
  if (out && id == IMessage::interfaceId) {
    retain();
    *out = static_cast<IMessage*>(this);
    return resultOk;
  }
  return CmObject::queryInterface(id, out);
}

int32_t FMessage::setArgument(const char* key, const AttributeVariant& value)
{
  if (key && (value.tag & ~tagOwned) == tagObject)
    requireLocal(key);
  return require().setValue(key, value);
}

int32_t FMessage::getArgument(const char* key, AttributeVariant& value) const
{
  return arguments_ ? arguments_->getValue(key, value) : 1;
}

bool FMessage::write(FStream& stream) const
{
  uint32_t all = arguments_ ? arguments_->count() : 0;
  uint32_t travelling = 0;
  for (uint32_t i = 0; i < all; ++i)
    travelling += mayTravel(*arguments_->at(i)) ? 1 : 0;
  if (!id_.write(stream) || !stream.writeUint32(travelling))
    return false;
  for (uint32_t i = 0; i < all; ++i) {
    const FStringIDAttribute& value = *arguments_->at(i);
    if (mayTravel(value) && (!value.key().write(stream) || !value.write(stream)))
      return false;
  }
  return true;
}

bool FMessage::read(FStream& stream)
{
  CmString id;
  Ref<FAttributes> arguments = make<FAttributes>();
  if (!id.read(stream) || !arguments->read(stream))
    return false;
  id_ = id;
  arguments_ = arguments;
  return true;
}

} // namespace orbi
