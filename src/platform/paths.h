#pragma once

#include <filesystem>
#include <string_view>

namespace orbi::platform {

/// The absolute path by which the program was started. The last place keeps its name even when it
/// is a symbolic link, so that copies and links of the program have names of their own. Taken down
/// on the first call, which has to come before the working folder changes.
const std::filesystem::path& executablePath();

/// The user's own files. Empty when the system knows no home for the user.
std::filesystem::path homeFolder();

/// Where the user's settings go; not created. Empty when the system knows no home for the user.
std::filesystem::path settingsFolder();

/// Where the user's data go; not created. Empty when the system knows no home for the user.
std::filesystem::path dataFolder();

std::string_view moduleExtension(); ///< of dynamic libraries, without the dot

} // namespace orbi::platform
