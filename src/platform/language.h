#pragma once

#include <string>

namespace orbi::platform {

/// The two lower-case letters of the language in which the user wants to read; "en" when the system
/// names none that has such a code.
std::string systemLanguage();

} // namespace orbi::platform
