#pragma once

#include <cstdint>
#include <ctime>

namespace loom {

/// Nanoseconds of the system's steady clock, the one that time stamps are given in. Any thread.
inline uint64_t steadyNow()
{
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return uint64_t(now.tv_sec) * 1'000'000'000 + uint64_t(now.tv_nsec);
}

} // namespace loom
