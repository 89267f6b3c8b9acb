#include "audio/kernels.h"

#include "audio/sample_format.h"
#include "platform/cpu.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

using namespace orbi;

namespace {

constexpr uint8_t untouched = 0xA5;

/// The rule for one sample, its bytes in the order of the format.
std::vector<uint8_t> expectedBytes(float x, const SampleFormat& format)
{
  uint32_t bits = std::bit_cast<uint32_t>(x);
  size_t first = 0;
  size_t count = static_cast<size_t>(format.sampleBits) / 8;
  if (format.format != formatFloat && format.format != formatFloatBigEndian) {
    double clipped = std::isnan(x) ? 0.0 : x > 1.0f ? 1.0 : x < -1.0f ? -1.0 : double(x);
    auto integer = static_cast<int32_t>(std::trunc(clipped * 2147483647.0));
    bits = static_cast<uint32_t>(format.sampleBits == 32 ? integer >> format.shift : integer);
    first = 4 - count;
  }
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i < count; ++i)
    bytes.push_back(static_cast<uint8_t>(bits >> (8 * (first + i))));
  if (format.byteSwap)
    std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

std::vector<float> awkwardSamples(size_t count)
{
  constexpr float limit = std::numeric_limits<float>::infinity();
  const float special[] = {0.0f,         -0.0f,  1.0f,    -1.0f,       1.5f,
                           -1.5f,        0.5f,   -0.5f,   1e-40f,      -1e-40f,
                           NAN,          limit,  -limit,  0.99999994f, 1.0000001f,
                           -0.99999994f, 3e-10f, -3e-10f, 4.7e-10f,    1e30f};
  std::mt19937 random(7);
  std::uniform_real_distribution<float> usual(-1.2f, 1.2f);
  std::vector<float> samples(count);
  for (size_t i = 0; i < count; ++i)
    samples[i] = i % 3 == 1 ? special[(i / 3) % std::size(special)] : usual(random);
  return samples;
}

std::vector<const AudioKernels*> allKernels()
{
  std::vector<const AudioKernels*> all = {&baselineKernels()};
  if (platform::hasAvx2())
    all.push_back(&avx2Kernels());
  return all;
}

void checkFormat(const AudioKernels& kernels, const SampleFormat& format, size_t frames,
                 size_t offset)
{
  const std::vector<float> samples = awkwardSamples(frames + offset);
  const auto bytes = static_cast<size_t>(format.sampleBits) / 8;
  // A driver's target may stand anywhere that suits its samples.
  const size_t start = offset * (format.sampleBits == 24 ? 1 : bytes);
  std::vector<uint8_t> target(start + frames * bytes + 32, untouched);
  std::vector<uint8_t> expected = target;
  for (size_t i = 0; i < frames; ++i) {
    std::vector<uint8_t> sample = expectedBytes(samples[offset + i], format);
    std::copy(sample.begin(), sample.end(), expected.begin() + long(start + i * bytes));
  }
  ConvertKernel convert = convertKernel(kernels, format.format, format.sampleBits, format.byteSwap);
  convert(samples.data() + offset, target.data() + start, int32_t(frames), format.shift);
  ASSERT_EQ(target, expected) << kernels.name << " type " << format.type << " frames " << frames
                              << " offset " << offset;
}

} // namespace

TEST(Kernels, every_format_follows_the_rule_to_the_bit_and_writes_nothing_behind_the_end)
{
  for (const AudioKernels* kernels : allKernels())
    for (const SampleFormat& format : sampleFormats)
      for (size_t frames = 0; frames <= 200; ++frames)
        checkFormat(*kernels, format, frames, frames % 5);
}

TEST(Kernels, adding_keeps_to_its_frames)
{
  for (const AudioKernels* kernels : allKernels())
    for (size_t frames = 0; frames <= 70; ++frames) {
      std::vector<float> source(frames + 1, 2.0f);
      std::vector<float> target(frames + 2, 1.0f);
      std::vector<float> expected = target;
      kernels->addFrames(source.data() + 1, target.data() + 1, int32_t(frames));
      std::fill_n(expected.begin() + 1, frames, 3.0f);
      ASSERT_EQ(target, expected) << frames;
      const std::vector<float> other(frames + 1, 0.5f);
      kernels->addTwice(source.data() + 1, other.data() + 1, target.data() + 1, int32_t(frames));
      std::fill_n(expected.begin() + 1, frames, 5.5f);
      ASSERT_EQ(target, expected) << frames;
    }
}
