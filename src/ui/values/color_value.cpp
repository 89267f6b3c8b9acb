#include "ui/values/color_value.h"

#include "foundation/class_registry.h"

#include <charconv>

namespace orbi {

CM_REGISTER(UColorValue);

namespace {

constexpr int32_t noColor = -1;

int32_t colorIn(std::string_view text)
{
  const size_t first = text.find_first_not_of(" \t");
  text.remove_prefix(first == text.npos ? text.size() : first);
  const bool isHexadecimal = text.starts_with('#');
  text.remove_prefix(isHexadecimal ? 1 : 0);
  int64_t number = noColor;
  std::from_chars(text.data(), text.data() + text.size(), number, isHexadecimal ? 16 : 10);
  const bool fits = number >= (isHexadecimal ? 0 : INT32_MIN) && number <= UINT32_MAX;
  return fits ? static_cast<int32_t>(static_cast<uint32_t>(number)) : noColor;
}

} // namespace

void UColorValue::getString(CmString& text) const
{
  text.format("#%06X", static_cast<uint32_t>(getValue()));
}

void UColorValue::setTextBuffer(const char* text, bool notifyTarget)
{
  const int32_t color = colorIn(text ? text : "");
  if (color != noColor)
    setIntEx(color, notifyTarget);
}

} // namespace orbi
