#pragma once

#include "audio/kernels.h"
#include "audio/sample_format.h"

#include "loom/loom.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

namespace orbi {

/// One slot of the device's channel tables.
struct LoomChannel {
  void* driverBuffer[2] = {};   ///< the driver's two halves
  float* floatBuffer[2] = {};   ///< a block of floats each, zero at first
  std::unique_ptr<float[]> own; ///< both float buffers, unless the driver takes floats as they are
  int32_t containerBits = 0;
  int32_t sampleBits = 0;
  int32_t shift = 0;
  int32_t channelNumber = 0; ///< the slot's index, set once
  int32_t format = 0;        ///< 0 is an unknown type: the channel stays silent
  bool byteSwap = false;
  bool native = false; ///< nothing but a copy is needed: no shift, no swap
  bool active = false;
  ConvertKernel convert = nullptr; ///< null writes nothing

  /// Takes the format of a driver's type; false clears it.
  bool setType(int32_t type, const AudioKernels& kernels)
  {
    const SampleFormat* known = findSampleFormat(type);
    SampleFormat fields = known ? *known : SampleFormat{};
    containerBits = fields.containerBits;
    sampleBits = fields.sampleBits;
    shift = fields.shift;
    format = fields.format;
    byteSwap = fields.byteSwap;
    native = known && shift == 0 && !byteSwap;
    convert = known ? convertKernel(kernels, format, sampleBits, byteSwap) : nullptr;
    return known != nullptr;
  }

  /// Makes the float buffers. Where nothing is converted they are the driver's halves themselves,
  /// which saves a copy of each block.
  void makeFloatBuffers(int32_t frames)
  {
    auto count = static_cast<size_t>(frames);
    auto isFloats = [](const void* half) {
      return half && reinterpret_cast<uintptr_t>(half) % alignof(float) == 0;
    };
    if (native && format == formatFloat && isFloats(driverBuffer[0]) && isFloats(driverBuffer[1])) {
      for (size_t half : {size_t(0), size_t(1)}) {
        floatBuffer[half] = static_cast<float*>(driverBuffer[half]);
        std::fill_n(floatBuffer[half], count, 0.0f);
      }
      convert = nullptr;
      return;
    }
    own = std::make_unique<float[]>(2 * count);
    floatBuffer[0] = own.get();
    floatBuffer[1] = own.get() + count;
  }
};

using LoomChannelTable = std::array<LoomChannel, loomMaxChannels>;

} // namespace orbi
