#include "ui/values/string_list_value.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "ui/values/value_numbers.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(UStringArray);
CM_REGISTER(UStringListValue);
CM_REGISTER(URecentStringListValue);

// The texts

bool UStringArray::insertAt(int32_t index, CmObject* item)
{
  return index >= 0 && static_cast<size_t>(index) <= items_.size() &&
         insertBefore(items_.begin() + index, item);
}

CmObject* UStringArray::find(const CmObject* key) const
{
  for (CmObject* item : items_)
    if (item && item->isEqual(key))
      return item;
  return nullptr;
}

bool UStringArray::addText(std::string_view text)
{
  auto string = make<CmString>(text);
  if (!add(string.get()))
    return false;
  string.detach();
  return true;
}

const CmString* UStringArray::textAt(int32_t index) const
{
  return castTo<CmString>(at(index));
}

bool UStringArray::storeAttributes(FAttributes& attributes) const
{
  for (CmObject* item : items_)
    if (auto* string = castTo<CmString>(item))
      attributes.appendString("Strings", string->text());
  return true;
}

bool UStringArray::loadAttributes(const FAttributes& attributes)
{
  removeAll();
  if (auto* list = castTo<FStringList>(attributes.getList("Strings")))
    for (uint32_t i = 0; i < list->count(); ++i)
      addText(list->valueAt(i).text);
  return true;
}

// The value

const char* UStringListValue::stringAt(int32_t index) const
{
  const CmString* string = strings_.textAt(index);
  return string ? string->text() : nullptr;
}

void UStringListValue::addString(std::string_view text)
{
  if (!strings_.addText(text))
    return;
  const int32_t last = saturated(int64_t(getMin()) + stringCount() - 1);
  if (last > getMax())
    setMax(last);
}

bool UStringListValue::setStringAt(int32_t index, const char* text)
{
  const char* present = stringAt(index);
  if (!present)
    return false;
  if (compareTexts(present, text, TextCompare::ignoreCase) == 0)
    return true;
  // Another object: copies of the value share the one that is here.
  auto string = make<CmString>(text);
  if (!strings_.insertAt(index, string.get()))
    return false;
  string.detach();
  strings_.removeAt(index + 1);
  changed(changeNotice);
  return true;
}

void UStringListValue::removeLast()
{
  if (strings_.isEmpty())
    return;
  removeFrom(stringCount() - 1);
  setValue(getMax());
}

void UStringListValue::removeFrom(int32_t index)
{
  if (index >= stringCount())
    return;
  while (stringCount() > index)
    strings_.removeAt(stringCount() - 1);
  if (strings_.isEmpty())
    removeAll();
  else
    setMax(saturated(int64_t(getMin()) + stringCount() - 1));
}

void UStringListValue::removeAll()
{
  strings_.removeAll();
  setMin(-1);
  setMax(-1);
  changed(changeNotice);
}

void UStringListValue::getString(CmString& text) const
{
  const int64_t index = int64_t(getValue()) - getMin();
  text.set(index >= 0 && index < stringCount() ? stringAt(static_cast<int32_t>(index)) : "");
}

void UStringListValue::setTextBuffer(const char* text, bool notifyTarget)
{
  if (getMax() == -1)
    return;
  const int64_t count = std::min<int64_t>(stringCount(), int64_t(getMax()) - getMin() + 1);
  for (int32_t index = 0; index < count; ++index) {
    if (compareTexts(stringAt(index), text, TextCompare::ignoreCase) != 0)
      continue;
    const int32_t value = getMin() + index;
    if (value != getValue())
      setIntEx(value, notifyTarget);
    return;
  }
}

bool UStringListValue::storeAttributes(FAttributes& attributes) const
{
  return Super::storeAttributes(attributes) &&
         attributes.setObject("Strings", new UStringArray(strings_), ObjectMode::adopted);
}

bool UStringListValue::loadAttributes(const FAttributes& attributes)
{
  Super::loadAttributes(attributes);
  auto* texts = attributes.getObject<CmContainer>("Strings");
  if (!texts)
    return true;
  strings_.removeAll();
  for (CmIteration each(*texts); !each.atEnd();)
    if (auto* string = castTo<CmString>(each.next()))
      strings_.addText(string->view());
  changed(changeNotice);
  return true;
}

// Recent ones

void URecentStringListValue::setMaxRecent(int32_t count)
{
  maxRecent_ = std::max(count, 0);
  removeFrom(maxRecent_);
}

bool URecentStringListValue::storeAttributes(FAttributes& attributes) const
{
  return Super::storeAttributes(attributes) && attributes.setInt("Max Recent", maxRecent_);
}

bool URecentStringListValue::loadAttributes(const FAttributes& attributes)
{
  Super::loadAttributes(attributes);
  int64_t count = 0;
  if (attributes.getInt("Max Recent", count))
    setMaxRecent(saturated(count));
  return true;
}

} // namespace orbi
