#pragma once

#include <cstdint>

namespace orbi::platform {

std::int64_t steadyNanoseconds();     ///< never goes back; since some moment before the start
std::int64_t processCpuNanoseconds(); ///< processor time of all threads so far

} // namespace orbi::platform
