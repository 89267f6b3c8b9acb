#include "ui/values/value_numbers.h"

#include "foundation/number_text.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

namespace orbi {

namespace {

constexpr std::string_view blanks = " \t\r\n";

std::string_view trimmed(std::string_view text)
{
  const size_t first = text.find_first_not_of(blanks);
  if (first == text.npos)
    return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Whether a number begins here; the words for infinity and no number don't count.
bool startsNumber(std::string_view text)
{
  text.remove_prefix(text.starts_with('-') || text.starts_with('+') ? 1 : 0);
  text.remove_prefix(text.starts_with('.') ? 1 : 0);
  return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

} // namespace

int32_t saturated(int64_t number)
{
  return static_cast<int32_t>(std::clamp<int64_t>(number, INT32_MIN, INT32_MAX));
}

int32_t truncated(double number)
{
  if (std::isnan(number))
    return 0;
  return static_cast<int32_t>(std::clamp<double>(number, INT32_MIN, INT32_MAX));
}

float singlePrecision(double number)
{
  constexpr double largest = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(number, -largest, largest)); // no number stays none
}

/// In single precision, in which most fractions made of whole numbers come back as these.
int32_t cutAtFraction(int32_t min, int32_t max, float fraction)
{
  const float offset = static_cast<float>(rangeOf(min, max)) * fraction;
  return truncated(std::trunc(double(offset)) + min);
}

std::optional<double> numberIn(std::string_view text)
{
  std::string pointed(trimmed(text));
  std::replace(pointed.begin(), pointed.end(), ',', '.');
  if (!startsNumber(pointed))
    return std::nullopt;
  return readDouble(pointed);
}

std::optional<double> typedNumber(std::string_view text, double present)
{
  const std::optional<double> number = numberIn(text);
  if (!number)
    return std::nullopt;
  switch (trimmed(text).back()) {
  case '*':
    return present * *number;
  case '+':
    return present + *number;
  case '-':
    return present - *number;
  case '/':
    return *number == 0 ? std::nullopt : std::optional(present / *number);
  default:
    return number;
  }
}

} // namespace orbi
