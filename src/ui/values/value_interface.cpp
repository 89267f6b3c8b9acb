#include "ui/values/value_interface.h"

#include "persist/translator.h"
#include "ui/values/value.h"
#include "ui/values/value_numbers.h"

#include <algorithm>
#include <cmath>
#include <cstring>

// What UValue offers through IValue, in terms of the operations that its subclasses override.

namespace orbi {

namespace {

constexpr bool isContinuation(char c)
{
  return (c & 0xC0) == 0x80;
}

/// How much of the text goes into that many bytes without its last character being cut through. A
/// text that isn't UTF-8 is cut where it ends.
size_t cutLength(std::string_view text, size_t bytes)
{
  if (text.size() <= bytes)
    return text.size();
  size_t length = bytes;
  while (length > 0 && bytes - length < 3 && isContinuation(text[length]))
    --length;
  return (text[length] & 0xC0) == 0xC0 ? length : bytes;
}

void copyText(std::string_view text, char* to, size_t bytes)
{
  const size_t length = cutLength(text, bytes - 1);
  std::memcpy(to, text.data(), length);
  to[length] = 0;
}

} // namespace

CmResult UValue::queryInterface(const FUID& id, void** out)
{
  if (!out || id != IValue::interfaceId)
    return CmObject::queryInterface(id, out);
  retain();
  *out = static_cast<IValue*>(this);
  return resultOk;
}

// Text

void UValue::getText(char text[textBytes]) const
{
  CmString string;
  getStringThis(string);
  copyText(string.view(), text, textBytes);
}

uint32_t UValue::getTextBuffer(char* text, uint32_t* size) const
{
  CmString string;
  getStringThis(string);
  const uint32_t needed = static_cast<uint32_t>(string.length()) + 1;
  const uint32_t room = size ? *size : needed;
  if (text && room > 0)
    copyText(string.view(), text, room);
  else if (!text && size)
    *size = needed;
  return needed;
}

void UValue::setTextBuffer(const char* text, bool notifyTarget)
{
  text = text ? text : "";
  for (int32_t value : {0, 1}) {
    const char* word = value ? "On" : "Off";
    for (const char* known : {UTranslator::text(word), word})
      if (compareTexts(text, known, TextCompare::ignoreCase) == 0)
        return setIntEx(value, notifyTarget);
  }
  if (std::optional<double> number = numberIn(text))
    setIntEx(truncated(*number), notifyTarget);
}

// Numbers

void UValue::setIntEx(int32_t value, bool notifyTarget)
{
  Ref<UValue> alive = kept();
  setValue(value);
  if (notifyTarget)
    this->notifyTarget();
}

void UValue::setFloat(float value)
{
  setInt(truncated(value));
}

void UValue::setMinFloat(float min)
{
  setMin(truncated(min));
}

void UValue::setMaxFloat(float max)
{
  setMax(truncated(max));
}

float UValue::getNormalized() const
{
  const double range = rangeOf(getMin(), getMax());
  return range > 0 ? static_cast<float>(rangeOf(getMin(), getValue()) / range) : 0.0f;
}

void UValue::setNormalizedEx(float fraction, bool notifyTarget)
{
  Ref<UValue> alive = kept();
  setNormalized(fraction);
  if (notifyTarget)
    this->notifyTarget();
}

bool UValue::resetToDefault()
{
  int32_t value = 0;
  if (!getDefault(value))
    return false;
  if (getValue() == value)
    return true;
  Ref<UValue> alive = kept();
  FlaggedEdit edit(*this);
  setInt(value);
  return true;
}

void UValue::setDefaultFloat(float value)
{
  setDefault(truncated(value + 0.5));
}

bool UValue::getDefaultFloat(float& value) const
{
  int32_t whole = 0;
  if (!getDefault(whole))
    return false;
  value = static_cast<float>(whole);
  return true;
}

// Edits and flags

void UValue::edit(bool begins)
{
  if (begins)
    beginEdit();
  else
    endEdit();
}

bool UValue::getFlag(int32_t index) const
{
  switch (index) {
  case 1:
    return getNotifyOnEdit();
  case 2:
    return has(free2);
  case 4:
    return has(free4);
  case 8:
    return has(free8);
  default:
    return false;
  }
}

void UValue::setFlag(int32_t index, bool on)
{
  if (index == 1)
    setNotifyOnEdit(on);
  else if (index == 2)
    put(free2, on);
}

} // namespace orbi
