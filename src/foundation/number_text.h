#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orbi {

/// Numbers in texts that aren't for people, without regard to the locale, which a plug-in may set.

/// Room for any of the texts below.
inline constexpr size_t longestNumber = 96;

char* writeInt(char* to, int64_t value);   ///< answers the end; no NUL
char* writeDouble(char* to, double value); ///< as "%.50g" does: the same double comes back
int64_t readInt(std::string_view text);    ///< leading digits, the nearest possible; 0 for none
double readDouble(std::string_view text);  ///< leading number, hexadecimal too; 0 for none

} // namespace orbi
