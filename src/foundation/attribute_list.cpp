#include "foundation/attribute_list.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"

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

FStringList::FStringList(const FStringList& other) : CmClass(other), ownsTexts_(other.ownsTexts_)
{
  for (const char* text : other.texts_)
    append(text, ownsTexts_);
}

FStringList::~FStringList()
{
  if (ownsTexts_)
    for (const char* text : texts_)
      delete[] text;
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

} // namespace orbi
