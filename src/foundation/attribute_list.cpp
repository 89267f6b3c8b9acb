#include "foundation/attribute_list.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/stream.h"

namespace orbi {

CM_REGISTER_ABSTRACT(FAttrList);
CM_REGISTER(FIntList);
CM_REGISTER(FFloatList);
CM_REGISTER(FStringList);
CM_REGISTER(FObjectList);
CM_REGISTER(FSubList);
CM_REGISTER(FAttrBuffer);

namespace {

char* copyText(const char* text)
{
  size_t size = std::strlen(text) + 1;
  auto* copy = new char[size];
  std::memcpy(copy, text, size);
  return copy;
}

/// Reads one element after the other, so that a count that lies costs no memory.
template <class Read>
bool readElements(FStream& stream, Read readOne)
{
  uint32_t stored = 0;
  if (!stream.readUint32(stored))
    return false;
  for (; stored > 0; --stored)
    if (!readOne())
      return false;
  return true;
}

template <class Write>
bool writeElements(FStream& stream, uint32_t count, Write writeOne)
{
  if (!stream.writeUint32(count))
    return false;
  for (uint32_t i = 0; i < count; ++i)
    if (!writeOne(i))
      return false;
  return true;
}

bool readObject(FStream& stream, CmArray& items, const char* classWanted)
{
  FAttributeValue value;
  if (!value.read(stream))
    return false;
  CmObject* object = value.asObject();
  if (!object || !object->isA(classWanted) || !items.add(object))
    return false;
  object->retain(); // the array adopts it, and the value lets go of its own
  return true;
}

bool writeObject(FStream& stream, const CmArray& items, uint32_t index)
{
  FAttributeValue value;
  value.setObject(items.at(static_cast<int32_t>(index)), ObjectMode::borrowed);
  return value.write(stream);
}

} // namespace

void AttributeVariant::clear()
{
  if (tag == (tagText | tagOwned))
    delete[] text;
  else if (tag == (tagObject | tagOwned) && object)
    object->release();
  tag = tagNone;
  integer = 0;
}

bool FAttrList::next(AttributeVariant& value)
{
  if (cursor_ >= count()) {
    cursor_ = 0;
    return false;
  }
  value = valueAt(cursor_++);
  return true;
}

AttributeVariant FIntList::valueAt(uint32_t index) const
{
  return index < values.size() ? AttributeVariant(values[index]) : AttributeVariant();
}

AttributeVariant FFloatList::valueAt(uint32_t index) const
{
  return index < values.size() ? AttributeVariant(values[index]) : AttributeVariant();
}

bool FIntList::read(FStream& stream)
{
  values.clear();
  return readElements(stream, [&] {
    int64_t value = 0;
    bool complete = stream.readInt64(value);
    if (complete)
      values.push_back(value);
    return complete;
  });
}

bool FIntList::write(FStream& stream) const
{
  return writeElements(stream, count(), [&](uint32_t i) { return stream.writeInt64(values[i]); });
}

bool FFloatList::read(FStream& stream)
{
  values.clear();
  return readElements(stream, [&] {
    double value = 0;
    bool complete = stream.readDouble(value);
    if (complete)
      values.push_back(value);
    return complete;
  });
}

bool FFloatList::write(FStream& stream) const
{
  return writeElements(stream, count(), [&](uint32_t i) { return stream.writeDouble(values[i]); });
}

FStringList::FStringList(const FStringList& other) : CmClass(other), ownsTexts_(other.ownsTexts_)
{
  for (const char* text : other.texts_)
    append(text, ownsTexts_);
}

FStringList::~FStringList()
{
  removeAll();
}

void FStringList::removeAll()
{
  if (ownsTexts_)
    for (const char* text : texts_)
      delete[] text;
  texts_.clear();
}

bool FStringList::read(FStream& stream)
{
  removeAll();
  ownsTexts_ = true;
  return readElements(stream, [&] {
    std::unique_ptr<char[]> text;
    return stream.readText(text) && append(text.get(), true);
  });
}

bool FStringList::write(FStream& stream) const
{
  return writeElements(stream, count(), [&](uint32_t i) { return stream.writeText(texts_[i]); });
}

bool FStringList::append(const char* text, bool copy)
{
  if (copy != ownsTexts_)
    return false;
  texts_.push_back(copy ? copyText(text ? text : "") : text);
  return true;
}

AttributeVariant FStringList::valueAt(uint32_t index) const
{
  return index < texts_.size() ? AttributeVariant(texts_[index]) : AttributeVariant();
}

bool FObjectList::append(CmObject* object, bool adopt)
{
  return adopt == ownsItems() && items_.add(object);
}

AttributeVariant FObjectList::valueAt(uint32_t index) const
{
  if (index >= count())
    return {};
  CmObject* object = at(index);
  auto* string = castTo<CmString>(object);
  if (!string)
    return AttributeVariant(static_cast<FUnknown*>(object));
  AttributeVariant text(static_cast<const char*>(copyText(string->text())));
  text.tag |= tagOwned;
  return text;
}

bool FObjectList::read(FStream& stream)
{
  items_.removeAll();
  items_.setOwnership(CmOwnership::adopts);
  return readElements(stream, [&] { return readObject(stream, items_, CmObject::className); });
}

bool FObjectList::write(FStream& stream) const
{
  return writeElements(stream, count(), [&](uint32_t i) { return writeObject(stream, items_, i); });
}

bool FSubList::append(FAttributes* attributes)
{
  return attributes && items_.add(attributes);
}

FAttributes* FSubList::at(uint32_t index) const
{
  return static_cast<FAttributes*>(items_.at(static_cast<int32_t>(index)));
}

AttributeVariant FSubList::valueAt(uint32_t index) const
{
  FAttributes* item = at(index);
  return item ? AttributeVariant(static_cast<FUnknown*>(static_cast<CmObject*>(item)))
              : AttributeVariant();
}

bool FSubList::read(FStream& stream)
{
  items_.removeAll();
  return readElements(stream, [&] { return readObject(stream, items_, FAttributes::className); });
}

bool FSubList::write(FStream& stream) const
{
  return writeElements(stream, count(), [&](uint32_t i) { return writeObject(stream, items_, i); });
}

FAttrBuffer::FAttrBuffer(const FAttrBuffer& other)
    : CmClass(other), data(other.data), size(other.size), own_(other.own_)
{
  if (other.data == other.own_.data())
    data = own_.data();
}

bool FAttrBuffer::read(FStream& stream)
{
  uint32_t stored = 0;
  own_.clear();
  bool complete = stream.readUint32(stored) && stream.readBytes(own_, stored);
  data = own_.data();
  size = own_.used();
  return complete;
}

bool FAttrBuffer::write(FStream& stream) const
{
  return size <= UINT32_MAX && stream.writeUint32(static_cast<uint32_t>(size)) &&
         (size == 0 || stream.write(data, size) == size);
}

} // namespace orbi
