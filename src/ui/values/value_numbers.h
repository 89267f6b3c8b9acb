#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace orbi {

/// Arithmetic of values: what doesn't fit becomes the nearest that does, so that no input is
/// undefined behaviour.

int32_t saturated(int64_t number);
int32_t truncated(double number); ///< towards zero; no number is 0

float singlePrecision(double number);

/// The range's width as a number with a fraction.
inline double rangeOf(int32_t min, int32_t max)
{
  return static_cast<double>(int64_t(max) - min);
}

/// The whole number at a fraction of a range; what isn't whole is cut off.
int32_t cutAtFraction(int32_t min, int32_t max, float fraction);

/// The first number in the text, with a point or a comma; nothing when it begins with none.
std::optional<double> numberIn(std::string_view text);

/// What a typed text makes of the present value: "5" sets, "2*", "2+", "2-" and "2/" calculate.
/// Nothing for a text without a number and for a division by zero.
std::optional<double> typedNumber(std::string_view text, double present);

} // namespace orbi
