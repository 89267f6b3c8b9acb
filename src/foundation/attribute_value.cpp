#include "foundation/attribute_value.h"

#include "foundation/class_registry.h"
#include "foundation/number_text.h"
#include "foundation/stream.h"

#include <memory>

namespace orbi {

CM_REGISTER(FAttributeValue);
CM_REGISTER(FIntIDAttribute);
CM_REGISTER(FStringIDAttribute);

namespace {

constexpr uint16_t userMask = attributeUser0 | attributeUser1;

/// Objects within objects on a stream. Deeper input is no honest file, and what is deeper isn't
/// written either.
constexpr int deepestObject = 64;
thread_local int objectDepth = 0;

} // namespace

FAttributeValue::FAttributeValue(int userFlags)
    : kind_(static_cast<uint16_t>((userFlags & 3) << 6)), value_{0}
{
}

void FAttributeValue::setUserFlags(int userFlags)
{
  kind_ = static_cast<uint16_t>((kind_ & ~userMask) | (userFlags & 3) << 6);
}

FAttributeValue::FAttributeValue(const FAttributeValue& other)
    : CmClass(other), kind_(other.kind_ & userMask), value_{0}
{
  *this = other;
}

FAttributeValue& FAttributeValue::operator=(const FAttributeValue& other)
{
  if (this == &other)
    return *this;
  if (other.is(attributeInterface)) {
    if (other.value_.interface)
      other.value_.interface->addRef();
    setInterface(other.value_.interface);
  } else if (other.is(attributeInt)) {
    setInt(other.value_.integer);
  } else if (other.is(attributeDouble)) {
    setDouble(other.value_.number);
  } else if (other.is(attributeText)) {
    setText(other.asText());
  } else if (other.is(attributeObject)) {
    setObject(other.value_.object, ObjectMode::shared);
  } else {
    clear();
  }
  if (other.is(attributeNoExport))
    setNoExport();
  return *this;
}

void FAttributeValue::letGo()
{
  if (is(attributeInterface)) {
    if (value_.interface)
      value_.interface->release();
  } else if (hasOwnText()) {
    delete[] value_.text;
  } else if (is(attributeObject) && is(attributeShared | attributeAdopted) && value_.object) {
    value_.object->releaseRef();
  }
}

void FAttributeValue::setText(const char* text, bool borrow)
{
  if (borrow) {
    clear();
    value_.text = text;
    kind_ |= attributeText | attributeBorrowedText;
    return;
  }
  setText(std::string_view(text ? text : ""));
}

void FAttributeValue::setText(std::string_view text)
{
  auto* own = new char[text.size() + 1]; // before clearing: the text may be part of the old value
  own[text.copy(own, text.size())] = 0;
  clear();
  value_.text = own;
  kind_ |= attributeText;
}

void FAttributeValue::setPlacedText(const char* text)
{
  clear();
  value_.text = text;
  textIsPlaced_ = true;
  kind_ |= attributeText;
}

void FAttributeValue::setObject(CmObject* object, ObjectMode mode)
{
  bool present = is(attributeObject) && !is(attributeInterface) && value_.object == object;
  if (present)
    return;
  if (object && mode == ObjectMode::shared)
    object->retain();
  clear();
  value_.object = object;
  kind_ |= attributeObject;
  if (mode != ObjectMode::borrowed)
    kind_ |= mode == ObjectMode::shared ? attributeShared : attributeAdopted;
}

void FAttributeValue::setInterface(FUnknown* interface)
{
  clear();
  value_.interface = interface;
  kind_ = (kind_ & attributeUser1) | attributeInterface | attributeUser0;
}

int64_t FAttributeValue::intOfText() const
{
  const char* text = asText();
  return text ? readInt(text) : 0;
}

double FAttributeValue::doubleOfText() const
{
  const char* text = asText();
  return text ? readDouble(text) : 0.0;
}

const char* FAttributeValue::textOfObject() const
{
  auto* string = castTo<CmString>(asObject());
  return string ? string->text() : nullptr;
}

CmObject* FAttributeValue::asObject() const
{
  return is(attributeObject) && !is(attributeInterface) ? value_.object : nullptr;
}

FUnknown* FAttributeValue::asInterface() const
{
  return is(attributeInterface) ? value_.interface : nullptr;
}

bool FAttributeValue::write(FStream& stream) const
{
  if (!stream.writeUint16(kind_))
    return false;
  switch (persistentKind()) {
  case attributeInt:
    return stream.writeInt64(value_.integer);
  case attributeDouble:
    return stream.writeDouble(value_.number);
  case attributeText:
    return stream.writeText(asText());
  case attributeObject:
    return writeObject(stream);
  default:
    return true;
  }
}

bool FAttributeValue::read(FStream& stream)
{
  uint16_t kind = 0;
  clear();
  if (!stream.readUint16(kind))
    return false;
  kind_ = kind & userMask;
  switch (kind & attributePersistentMask) {
  case attributeInt: {
    int64_t value = 0;
    if (!stream.readInt64(value))
      return false;
    setInt(value);
    return true;
  }
  case attributeDouble: {
    double value = 0;
    if (!stream.readDouble(value))
      return false;
    setDouble(value);
    return true;
  }
  case attributeText: {
    std::unique_ptr<char[]> text;
    if (!stream.readText(text))
      return false;
    setText(text ? text.get() : "");
    return true;
  }
  case attributeObject:
    return readObject(stream);
  default:
    return true;
  }
}

bool FAttributeValue::writeObject(FStream& stream) const
{
  if (!value_.object)
    return stream.writeText(nullptr);
  if (objectDepth >= deepestObject)
    return false;
  ++objectDepth;
  bool complete = stream.writeText(value_.object->getClassName()) && value_.object->write(stream);
  --objectDepth;
  return complete;
}

bool FAttributeValue::readObject(FStream& stream)
{
  CmString name;
  if (objectDepth >= deepestObject || !name.read(stream))
    return false;
  if (name.isEmpty()) {
    setObject(nullptr, ObjectMode::borrowed);
    return true;
  }
  Ref<CmObject> object = createAs<CmObject>(name.text());
  ++objectDepth;
  bool complete = object && object->read(stream);
  --objectDepth;
  if (complete)
    setObject(object.detach(), ObjectMode::adopted);
  return complete;
}

bool FIntIDAttribute::isEqual(const CmObject* other) const
{
  auto* attribute = castTo<FIntIDAttribute>(other);
  return attribute && attribute->key_ == key_;
}

int FIntIDAttribute::compare(const CmObject* other) const
{
  auto* attribute = castTo<FIntIDAttribute>(other);
  if (!attribute)
    return CmObject::compare(other);
  return (key_ > attribute->key_) - (key_ < attribute->key_);
}

bool FStringIDAttribute::isEqual(const CmObject* other) const
{
  auto* attribute = castTo<FStringIDAttribute>(other);
  return attribute && attribute->key_->isEqual(key_.get());
}

int FStringIDAttribute::compare(const CmObject* other) const
{
  auto* attribute = castTo<FStringIDAttribute>(other);
  return attribute ? key_->compare(attribute->key_.get()) : CmObject::compare(other);
}

} // namespace orbi
