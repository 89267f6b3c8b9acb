#include "audio/kernels.h"

#include "audio/sample_format.h"
#include "platform/cpu.h"

namespace orbi {

namespace kernels_baseline {
extern const AudioKernels kernels;
}
namespace kernels_avx2 {
extern const AudioKernels kernels;
}

const AudioKernels& baselineKernels()
{
  return kernels_baseline::kernels;
}

const AudioKernels& avx2Kernels()
{
  return kernels_avx2::kernels;
}

const AudioKernels& audioKernels()
{
  return platform::hasAvx2() ? avx2Kernels() : baselineKernels();
}

ConvertKernel convertKernel(const AudioKernels& kernels, int32_t format, int32_t sampleBits,
                            bool byteSwap)
{
  if (format == formatFloat || format == formatFloatBigEndian)
    return byteSwap ? kernels.toFloatSwapped : kernels.toFloat;
  switch (sampleBits) {
  case 16:
    return byteSwap ? kernels.toInt16Swapped : kernels.toInt16;
  case 24:
    return byteSwap ? kernels.toInt24Swapped : kernels.toInt24;
  case 32:
    return byteSwap ? kernels.toInt32Swapped : kernels.toInt32;
  default:
    return nullptr;
  }
}

} // namespace orbi
