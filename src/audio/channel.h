#pragma once

#include "audio/kernels.h"
#include "audio/sample_format.h"

#include "loom/loom.h"

#include <array>
#include <memory>

namespace orbi {

/// One slot of the device's channel tables.
struct LoomChannel {
  void* driverBuffer[2] = {};              ///< the driver's two halves
  std::unique_ptr<float[]> floatBuffer[2]; ///< a block of floats each, zero at first
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
};

using LoomChannelTable = std::array<LoomChannel, loomMaxChannels>;

} // namespace orbi
