#pragma once

#include <filesystem>
#include <string_view>

namespace orbi::platform {

/// Where a file's URI leads on this machine; empty for any other.
std::filesystem::path localFile(std::string_view uri);

} // namespace orbi::platform
