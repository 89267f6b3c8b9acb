// The loops of AudioKernels, compiled once for each kind of processor: the including file sets the
// namespace and the build sets the compiler's target. Plain loops, so that the compiler vectorises
// them; the benchmark shows that it does. No #pragma once.

#include "audio/kernels.h"

#include <bit>
#include <cstring>
#include <utility>

namespace orbi::ORBI_KERNEL_NAMESPACE {

namespace {

enum class Bytes { kept, reversed };

// The product of a sample and 2147483647.0, cut toward zero, without doubles: it is x * 2^31 less
// x. The first is exact in floats, and when it has a fraction, that is larger than x. So taking x
// away changes the whole part by one when there is no fraction, and not at all otherwise. All of
// this is done below zero, where 2^31 is an integer, too.
//
// These files are compiled as if no float were infinite or not a number, which makes clipping one
// instruction; infinite ones are clipped like any other, and the others are told by their bits.
inline int32_t toInteger(float x)
{
  constexpr int32_t signBit = INT32_MIN;
  constexpr int32_t minusInfinity = signBit | 0x7F800000;
  auto bits = std::bit_cast<int32_t>(x);
  int32_t lowered = bits | signBit; // the larger, the further below zero
  auto ordered = std::bit_cast<float>(lowered > minusInfinity ? 0 : lowered);
  float clipped = ordered < -1.0f ? -1.0f : ordered;
  float scaled = clipped * 2147483648.0f;
  auto whole = static_cast<int32_t>(scaled);
  float fraction = scaled - static_cast<float>(whole);
  whole += fraction > clipped ? 1 : 0;
  int32_t sign = bits >> 31;
  return sign - (whole ^ sign);
}

void addFrames(const float* __restrict source, float* __restrict target, int32_t frames)
{
  for (int32_t i = 0; i < frames; ++i)
    target[i] += source[i];
}

void addTwice(const float* __restrict first, const float* __restrict second,
              float* __restrict target, int32_t frames)
{
  for (int32_t i = 0; i < frames; ++i)
    target[i] = (target[i] + first[i]) + second[i];
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

/// Byte number `at` of packed samples, as its place among the bytes of their integers.
constexpr int packedByte(Bytes order, int at)
{
  return at / 3 * 4 + (order == Bytes::kept ? at % 3 + 1 : 3 - at % 3);
}

/// Bytes first...first + 15 of packed samples, out of two neighbouring groups of four integers of
/// which the former begins with sample 4 * group.
template <Bytes order, int first, int group, int... at>
inline Bytes16 packedBytes(Bytes16 former, Bytes16 latter, std::integer_sequence<int, at...>)
{
  return __builtin_shufflevector(former, latter, (packedByte(order, first + at) - 16 * group)...);
}

/// Packs sixteen integers to 48 bytes.
template <Bytes order>
inline void packSixteen(const int32_t* integers, uint8_t* target)
{
  constexpr auto places = std::make_integer_sequence<int, 16>();
  Bytes16 groups[4];
  std::memcpy(groups, integers, sizeof groups);
  const Bytes16 packed[3] = {packedBytes<order, 0, 0>(groups[0], groups[1], places),
                             packedBytes<order, 16, 1>(groups[1], groups[2], places),
                             packedBytes<order, 32, 2>(groups[2], groups[3], places)};
  std::memcpy(target, packed, sizeof packed);
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
  for (; done + chunk <= frames; done += chunk) {
    for (int32_t i = 0; i < chunk; ++i)
      integers[i] = toInteger(source[done + i]);
    for (int32_t i = 0; i < chunk; i += 16)
      packSixteen<order>(integers + i, bytes + 3 * (done + i));
  }
  for (; done < frames; ++done)
    packOne<order>(toInteger(source[done]), bytes + 3 * done);
}

} // namespace

extern const AudioKernels kernels;
const AudioKernels kernels = {
    .name = ORBI_KERNEL_NAME,
    .addFrames = addFrames,
    .addTwice = addTwice,
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
