#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace soundfont {

/// Where the bank lies that an instrument begins with: below the user's settings, in a folder that
/// is named like the module. Empty where the user has no folder.
std::string defaultBankPath();

std::vector<uint8_t> readDefaultBank(); ///< empty when there is none that can be believed

/// Puts it in place whole or not at all: false leaves what was there.
bool saveDefaultBank(const std::vector<uint8_t>& chunk);

} // namespace soundfont
