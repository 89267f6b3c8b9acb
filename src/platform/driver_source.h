#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orbi::platform {

/// What the system knows of one audio driver. Nothing of it is loaded or checked for being there.
struct DriverRegistration {
  std::string key;         ///< unique; stands in for a description that is missing
  std::string classId;     ///< as written, never empty
  std::string description; ///< empty without hasDescription
  bool hasDescription = false;
  std::filesystem::path server; ///< the module, absolute if the folder of its registration is
};

/// All drivers registered for this user, in the order in which they are offered. A key counts where
/// it comes first, so an incomplete registration in an earlier folder hides a complete one in a
/// later folder.
std::vector<DriverRegistration> registeredDrivers(const std::filesystem::path& executableFolder);

/// Reads the text of one registration. Nothing when it lacks a class id or a server, or when these
/// are longer than any real one.
std::optional<DriverRegistration> parseRegistration(std::string_view text, std::string_view key,
                                                    const std::filesystem::path& folder);

} // namespace orbi::platform
