#pragma once

#include <cstdint>

namespace orbi::platform {

/// Tells when it is worth trying to join a JACK server. A try in vain takes some milliseconds, far
/// more than to look whether anything in the folders where servers leave their sockets is new.
class JackServerTraces {
public:
  bool worthTrying(std::int64_t now); ///< nanoseconds of the steady clock

private:
  std::uint64_t traces_ = 0;
  std::int64_t tryUntil_ = 0;
  std::int64_t tryAnyway_ = 0;
};

} // namespace orbi::platform
