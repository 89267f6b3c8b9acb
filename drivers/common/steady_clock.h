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

// Whole seconds are taken apart, so that neither product overflows in the life of a machine.

/// How long that many frames last, in nanoseconds. rate is at least 1.
inline uint64_t nanosecondsOf(uint64_t frames, uint64_t rate)
{
  return frames / rate * 1'000'000'000 + frames % rate * 1'000'000'000 / rate;
}

/// How many whole frames fit into that many nanoseconds.
inline uint64_t framesIn(uint64_t nanoseconds, uint64_t rate)
{
  return nanoseconds / 1'000'000'000 * rate + nanoseconds % 1'000'000'000 * rate / 1'000'000'000;
}

} // namespace loom
