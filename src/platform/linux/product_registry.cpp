#include "platform/product_registry.h"

namespace orbi::platform {

// Packages are the business of many managers here; none keeps a command for each product.
std::optional<std::string> uninstallCommand(const std::string&)
{
  return std::nullopt;
}

} // namespace orbi::platform
