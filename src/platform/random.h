#pragma once

#include <cstdint>
#include <span>

namespace orbi::platform {

/// Fills the bytes from the system's source of randomness. Any thread; may make a system call.
void fillRandom(std::span<std::uint8_t> bytes);

} // namespace orbi::platform
