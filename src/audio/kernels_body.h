// The loops of AudioKernels, compiled once for each kind of processor: the including file sets the
// namespace and the build sets the compiler's target. Plain loops, so that the compiler vectorises
// them; the benchmark shows that it does. No #pragma once.

#include "audio/kernels.h"

#include <bit>
#include <cstring>

namespace orbi::ORBI_KERNEL_NAMESPACE {

namespace {

enum class Bytes { kept, reversed };

inline float clip(float x)
{
  float ordered = x == x ? x : 0.0f;
  float below = ordered > 1.0f ? 1.0f : ordered;
  return below < -1.0f ? -1.0f : below;
}

inline int32_t toInteger(float x)
{
  return static_cast<int32_t>(static_cast<double>(clip(x)) * 2147483647.0);
}

void copyFrames(const float* __restrict source, float* __restrict target, int32_t frames)
{
  for (int32_t i = 0; i < frames; ++i)
    target[i] = source[i];
}

void addFrames(const float* __restrict source, float* __restrict target, int32_t frames)
{
  for (int32_t i = 0; i < frames; ++i)
    target[i] += source[i];
}

// Without their sign, floats are in the order of their bits; integers can be compared in any order.
float peakOf(const float* source, int32_t frames)
{
  int32_t highest = 0;
  for (int32_t i = 0; i < frames; ++i) {
    int32_t level = std::bit_cast<int32_t>(source[i]) & 0x7FFFFFFF;
    highest = level > highest ? level : highest;
  }
  return std::bit_cast<float>(highest);
}

template <Bytes order>
void toInt16(const float* __restrict source, void* target, int32_t frames, int32_t)
{
  auto* __restrict samples = static_cast<uint16_t*>(target);
  for (int32_t i = 0; i < frames; ++i) {
    auto high = static_cast<uint16_t>(static_cast<uint32_t>(toInteger(source[i])) >> 16);
    samples[i] = order == Bytes::kept ? high : static_cast<uint16_t>(high << 8 | high >> 8);
  }
}

template <Bytes order>
void toInt32(const float* __restrict source, void* target, int32_t frames, int32_t shift)
{
  auto* __restrict samples = static_cast<uint32_t*>(target);
  for (int32_t i = 0; i < frames; ++i) {
    auto whole = static_cast<uint32_t>(toInteger(source[i]) >> shift);
    samples[i] = order == Bytes::kept ? whole : __builtin_bswap32(whole);
  }
}

template <Bytes order>
void toFloat(const float* source, void* target, int32_t frames, int32_t)
{
  auto* __restrict samples = static_cast<uint32_t*>(target);
  for (int32_t i = 0; i < frames; ++i) {
    auto bits = std::bit_cast<uint32_t>(source[i]);
    samples[i] = order == Bytes::kept ? bits : __builtin_bswap32(bits);
  }
}

typedef uint8_t Bytes16 __attribute__((vector_size(16)));

/// Packs four integers to twelve bytes; writes sixteen, the last four of which mean nothing.
template <Bytes order>
inline void packFour(const int32_t* integers, uint8_t* target)
{
  Bytes16 bytes;
  std::memcpy(&bytes, integers, 16);
  if constexpr (order == Bytes::kept)
    bytes =
        __builtin_shufflevector(bytes, bytes, 1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, 0, 0, 0, 0);
  else
    bytes =
        __builtin_shufflevector(bytes, bytes, 3, 2, 1, 7, 6, 5, 11, 10, 9, 15, 14, 13, 0, 0, 0, 0);
  std::memcpy(target, &bytes, 16);
}

template <Bytes order>
inline void packOne(int32_t integer, uint8_t* target)
{
  auto bits = static_cast<uint32_t>(integer);
  for (int i = 0; i < 3; ++i) {
    int byte = order == Bytes::kept ? i + 1 : 3 - i;
    target[i] = static_cast<uint8_t>(bits >> (8 * byte));
  }
}

template <Bytes order>
void toInt24(const float* __restrict source, void* target, int32_t frames, int32_t)
{
  constexpr int32_t chunk = 64;
  auto* bytes = static_cast<uint8_t*>(target);
  int32_t integers[chunk];
  int32_t done = 0;
  // Two samples stay behind for the plain loop, so that the wide stores end within the target.
  for (; done + chunk + 2 <= frames; done += chunk) {
    for (int32_t i = 0; i < chunk; ++i)
      integers[i] = toInteger(source[done + i]);
    for (int32_t i = 0; i < chunk; i += 4)
      packFour<order>(integers + i, bytes + 3 * (done + i));
  }
  for (; done < frames; ++done)
    packOne<order>(toInteger(source[done]), bytes + 3 * done);
}

} // namespace

extern const AudioKernels kernels;
const AudioKernels kernels = {
    .name = ORBI_KERNEL_NAME,
    .copyFrames = copyFrames,
    .addFrames = addFrames,
    .peakOf = peakOf,
    .toInt16 = toInt16<Bytes::kept>,
    .toInt24 = toInt24<Bytes::kept>,
    .toInt32 = toInt32<Bytes::kept>,
    .toFloat = toFloat<Bytes::kept>,
    .toInt16Swapped = toInt16<Bytes::reversed>,
    .toInt24Swapped = toInt24<Bytes::reversed>,
    .toInt32Swapped = toInt32<Bytes::reversed>,
    .toFloatSwapped = toFloat<Bytes::reversed>,
};

} // namespace orbi::ORBI_KERNEL_NAMESPACE
