#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orbi::platform {

/// The text with every byte that isn't UTF-8, and every zero, replaced by U+FFFD.
std::string validUtf8(std::string_view text);

/// Length of the character at the front: 1 to 4, or 0 when its bytes aren't UTF-8.
std::size_t utf8Length(std::string_view text);

} // namespace orbi::platform
