#pragma once

#include "foundation/string.h"

namespace orbi {

/// Shows the translation of the text with the name in the place of its "%s", in longestAlert bytes
/// at most.
void tellUser(const char* text, const CmString& name);
inline constexpr size_t longestAlert = 255;

} // namespace orbi
