#pragma once

#include "platform/realtime_layout.h"

#include <cstdint>

namespace orbi {

/// Takes frames floats from source to the driver's samples. The rule: clip to -1.0...1.0, widen to
/// double, multiply by 2147483647.0, truncate toward zero to a signed 32-bit integer; then its high
/// 16 bits, its bytes 1 to 3, or the whole, shifted right arithmetically. Not a number is silence.
/// Target and source don't overlap; the target holds frames samples without gaps.
using ConvertKernel = void (*)(const float* source, void* target, int32_t frames, int32_t shift);

/// The inner loops of the audio path, compiled for one kind of processor.
struct AudioKernels {
  const char* name;

  // Summing, frames floats each
  void (*addFrames)(const float* source, float* target, int32_t frames);
  /// As two calls of addFrames, in one pass over the target.
  void (*addTwice)(const float* first, const float* second, float* target, int32_t frames);
  float (*peakOf)(const float* source, int32_t frames); ///< highest absolute value

  // Conversion: little-endian, then with the bytes of each sample reversed
  ConvertKernel toInt16;
  ConvertKernel toInt24;
  ConvertKernel toInt32;
  ConvertKernel toFloat; ///< a plain copy
  ConvertKernel toInt16Swapped;
  ConvertKernel toInt24Swapped;
  ConvertKernel toInt32Swapped;
  ConvertKernel toFloatSwapped;
};

const AudioKernels& baselineKernels(); ///< for every processor of the build's kind
const AudioKernels& avx2Kernels();     ///< only where platform::hasAvx2()
const AudioKernels& audioKernels();    ///< the best for the processor at hand

/// The kernel for a format of the table; null for what it doesn't hold.
ConvertKernel convertKernel(const AudioKernels& kernels, int32_t format, int32_t sampleBits,
                            bool byteSwap);

} // namespace orbi
