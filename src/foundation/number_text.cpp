#include "foundation/number_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace orbi {

namespace {

/// Without blanks and a plus at its start.
std::string_view numberIn(std::string_view text)
{
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n\v\f"), text.size()));
  if (text.size() > 1 && text[0] == '+' && text[1] != '-' && text[1] != '+')
    text.remove_prefix(1);
  return text;
}

double hexadecimal(std::string_view digits, bool negative)
{
  double value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::hex);
  return negative ? -value : value;
}

/// What from_chars refuses as too large or too small.
double outOfRange(std::string_view text, const char* end)
{
  const bool negative = text.front() == '-';
  const size_t mark = text.substr(0, static_cast<size_t>(end - text.data())).find_first_of("eE");
  bool large = true;
  if (mark != text.npos && mark + 1 < text.size())
    large = text[mark + 1] != '-';
  else
    large = text.find_first_of("123456789") < text.find('.');
  const double value = large ? std::numeric_limits<double>::infinity() : 0.0;
  return negative ? -value : value;
}

} // namespace

char* writeInt(char* to, int64_t value)
{
  return std::to_chars(to, to + longestNumber, value).ptr;
}

char* writeDouble(char* to, double value)
{
  return std::to_chars(to, to + longestNumber, value, std::chars_format::general, 50).ptr;
}

int64_t readInt(std::string_view text)
{
  text = numberIn(text);
  int64_t value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::result_out_of_range)
    return text.front() == '-' ? INT64_MIN : INT64_MAX;
  return value;
}

double readDouble(std::string_view text)
{
  text = numberIn(text);
  const bool negative = text.starts_with('-');
  std::string_view digits = text.substr(negative ? 1 : 0);
  if (digits.starts_with("0x") || digits.starts_with("0X"))
    return hexadecimal(digits.substr(2), negative);
  double value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc::result_out_of_range ? outOfRange(text, end) : value;
}

} // namespace orbi
