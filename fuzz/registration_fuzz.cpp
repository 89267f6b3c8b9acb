#include "platform/driver_source.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// A registration that is accepted has all that a driver can't do without, within the limits.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
  const std::string_view text(reinterpret_cast<const char*>(bytes), count);
  const auto driver = orbi::platform::parseRegistration(text, "key", "/folder");
  if (!driver)
    return 0;
  const bool whole = !driver->classId.empty() && driver->classId.size() <= 255 &&
                     driver->description.size() <= 255 && driver->server.is_absolute() &&
                     driver->hasDescription == !driver->description.empty() &&
                     driver->server.native().find('\n') == std::string::npos;
  if (!whole)
    std::abort();
  return 0;
}
