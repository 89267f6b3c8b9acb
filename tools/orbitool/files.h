#pragma once

#include "orbitool/readable.h"

#include <filesystem>
#include <optional>

namespace orbi {

constexpr int64_t largestFile = int64_t(512) << 20; ///< bytes that are read into memory

/// Nothing when the path leads to a regular file, so that reading it comes to an end.
std::optional<Fault> faultOfPath(const std::filesystem::path& path);

/// The whole file; nothing on failure.
std::optional<std::string> readWhole(const std::filesystem::path& path, Fault& fault);

/// Makes the file or replaces it. At every moment the old one or the new one is there as a whole,
/// and on failure the old one.
std::optional<Fault> replaceFile(const std::filesystem::path& path, std::string_view bytes);

std::string extensionOf(const std::filesystem::path& path); ///< lower case, without the dot

} // namespace orbi
