#include "platform/clock.h"

#include <ctime>

namespace orbi::platform {

static std::int64_t read(clockid_t clock)
{
  timespec now{};
  clock_gettime(clock, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

std::int64_t steadyNanoseconds()
{
  return read(CLOCK_MONOTONIC);
}

std::int64_t processCpuNanoseconds()
{
  return read(CLOCK_PROCESS_CPUTIME_ID);
}

} // namespace orbi::platform
