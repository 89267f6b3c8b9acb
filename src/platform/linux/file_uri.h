#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

namespace orbi::platform {

/// Where a file's URI leads on this machine; empty for any other.
std::filesystem::path localFile(std::string_view uri);

/// The files of this machine in a list of URIs, one a line.
std::vector<std::filesystem::path> localFiles(std::string_view uris);

} // namespace orbi::platform
