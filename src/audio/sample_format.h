#pragma once

#include <cstdint>

namespace orbi {

/// How a driver's sample type is served. Packing goes by sampleBits alone: a 32-bit container with
/// 24 or 16 bits used gets packed 24 or 16-bit samples, and its shift has no effect.
struct SampleFormat {
  int32_t type;          ///< the driver's type number
  int32_t containerBits; ///< width of a sample's container
  int32_t sampleBits;    ///< selects the packing
  int32_t shift;         ///< right shift for 32-bit containers
  int32_t format;        ///< the system's own number
  bool byteSwap;         ///< the driver wants big-endian samples
};

inline constexpr int32_t formatFloatBigEndian = 12;
inline constexpr int32_t formatFloat = 20;

inline constexpr SampleFormat sampleFormats[] = {
    {0, 16, 16, 0, 7, true},     // int 16 big-endian
    {1, 24, 24, 0, 6, true},     // int 24 big-endian
    {2, 32, 32, 0, 5, true},     // int 32 big-endian
    {3, 32, 32, 0, 12, true},    // float 32 big-endian
    {8, 32, 16, 16, 11, true},   // 32-bit big-endian, 16 bits used
    {9, 32, 24, 14, 10, true},   // 32-bit big-endian, 18 bits used
    {10, 32, 24, 12, 9, true},   // 32-bit big-endian, 20 bits used
    {11, 32, 24, 8, 8, true},    // 32-bit big-endian, 24 bits used
    {16, 16, 16, 0, 4, false},   // int 16 little-endian
    {17, 24, 24, 0, 3, false},   // int 24 little-endian
    {18, 32, 32, 0, 2, false},   // int 32 little-endian
    {19, 32, 32, 0, 20, false},  // float 32 little-endian
    {24, 32, 16, 16, 19, false}, // 32-bit little-endian, 16 bits used
    {25, 32, 24, 14, 18, false}, // 32-bit little-endian, 18 bits used
    {26, 32, 24, 12, 17, false}, // 32-bit little-endian, 20 bits used
    {27, 32, 24, 8, 16, false},  // 32-bit little-endian, 24 bits used
};

constexpr const SampleFormat* findSampleFormat(int32_t type)
{
  for (const SampleFormat& format : sampleFormats)
    if (format.type == type)
      return &format;
  return nullptr;
}

} // namespace orbi
