#include "platform/random.h"

#include <random>
#include <sys/random.h>

namespace orbi::platform {

void fillRandom(std::span<std::uint8_t> bytes)
{
  while (!bytes.empty()) {
    const ssize_t count = getrandom(bytes.data(), bytes.size(), 0);
    if (count <= 0)
      break;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  if (bytes.empty())
    return;
  std::random_device spare; // where the system lacks the call
  for (std::uint8_t& byte : bytes)
    byte = static_cast<std::uint8_t>(spare());
}

} // namespace orbi::platform
