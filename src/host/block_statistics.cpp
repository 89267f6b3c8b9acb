#include "host/block_statistics.h"

#include "audio/device.h"
#include "platform/clock.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>

namespace orbi {

namespace {

std::string quoted(const std::string& text)
{
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\')
      out += '\\';
    out += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  }
  return out + "\"";
}

} // namespace

void BlockStatistics::blockBegins()
{
  countGap();
  begin_ = platform::steadyNanoseconds();
}

void BlockStatistics::blockEnds()
{
  auto taken = static_cast<uint64_t>(platform::steadyNanoseconds() - begin_);
  ++blocks_;
  ++histogram_[bucketOf(taken)];
  sum_ += taken;
  longest_ = std::max(longest_, taken);
  if (static_cast<double>(taken) * device_.sampleRate() > 1e9 * device_.blockFrames())
    ++late_;
}

void BlockStatistics::countGap()
{
  double position = device_.samplePosition();
  double frames = device_.blockFrames();
  if (nextPosition_ >= 0.0 && position > nextPosition_)
    gaps_ += static_cast<uint64_t>(std::floor((position - nextPosition_) / frames + 0.5));
  nextPosition_ = position + frames;
}

size_t BlockStatistics::bucketOf(uint64_t nanoseconds)
{
  constexpr uint64_t steps = uint64_t(1) << stepBits;
  if (nanoseconds < steps)
    return static_cast<size_t>(nanoseconds);
  int exponent = std::bit_width(nanoseconds) - 1 - stepBits;
  uint64_t step = (nanoseconds >> exponent) & (steps - 1);
  return (static_cast<size_t>(exponent + 1) << stepBits) + static_cast<size_t>(step);
}

uint64_t BlockStatistics::valueOf(size_t bucket)
{
  constexpr uint64_t steps = uint64_t(1) << stepBits;
  if (bucket < steps)
    return bucket;
  size_t exponent = (bucket >> stepBits) - 1;
  return (steps + (bucket & (steps - 1))) << exponent;
}

uint64_t BlockStatistics::percentile(double share) const
{
  auto wanted = static_cast<uint64_t>(std::ceil(share * static_cast<double>(blocks_)));
  uint64_t seen = 0;
  for (size_t bucket = 0; bucket < bucketCount; ++bucket) {
    seen += histogram_[bucket];
    if (seen >= wanted && seen > 0)
      return std::min(valueOf(bucket), longest_);
  }
  return longest_;
}

std::string BlockStatistics::json(const std::string& driver, double rate, int32_t frames) const
{
  // A block that the worker missed shows as a gap, too; one at the very end only in the count.
  double mean = blocks_ ? static_cast<double>(sum_) / static_cast<double>(blocks_) : 0.0;
  double blockNanoseconds = rate > 0.0 ? 1e9 * frames / rate : 0.0;
  char line[512];
  std::snprintf(line, sizeof line,
                "{\"driver\": %s, \"rate\": %.10g, \"frames\": %d, \"blocks\": %llu, "
                "\"lost\": %llu, \"late\": %llu, \"process_ns\": {\"mean\": %.0f, \"p50\": %llu, "
                "\"p99\": %llu, \"max\": %llu}, \"load\": %.6f}",
                quoted(driver).c_str(), rate, frames, static_cast<unsigned long long>(blocks_),
                static_cast<unsigned long long>(std::max(device_.lostBlocks(), gaps_)),
                static_cast<unsigned long long>(late_), mean,
                static_cast<unsigned long long>(percentile(0.5)),
                static_cast<unsigned long long>(percentile(0.99)),
                static_cast<unsigned long long>(longest_),
                blockNanoseconds > 0.0 ? mean / blockNanoseconds : 0.0);
  return line;
}

} // namespace orbi
