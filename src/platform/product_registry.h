#pragma once

#include <optional>
#include <string>

namespace orbi::platform {

/// The command by which the system removes an installed product; nothing where it keeps no such
/// list or doesn't know the product.
std::optional<std::string> uninstallCommand(const std::string& product);

} // namespace orbi::platform
