#include "platform/cpu.h"

namespace orbi::platform {

#if defined(__x86_64__) || defined(__i386__)

bool hasAvx2()
{
  return __builtin_cpu_supports("avx2") != 0;
}

bool hasFma()
{
  return __builtin_cpu_supports("fma") != 0;
}

bool hasAvx512()
{
  return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0;
}

#else

bool hasAvx2()
{
  return false;
}

bool hasFma()
{
  return false;
}

bool hasAvx512()
{
  return false;
}

#endif

} // namespace orbi::platform
