#include "host/block_statistics.h"

#include "audio/device.h"
#include "foundation/number_text.h"
#include "platform/clock.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <iterator>

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

/// Whatever locale a plug-in has set.
std::string decimal(double value, int digits)
{
  char text[longestNumber];
  return {text, std::to_chars(text, std::end(text), value, std::chars_format::general, digits).ptr};
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
  const double load = blockNanoseconds > 0.0 ? mean / blockNanoseconds : 0.0;
  const auto count = [](auto value) { return std::to_string(value); }; // without a decimal point
  return "{\"driver\": " + quoted(driver) + ", \"rate\": " + decimal(rate, 10) +
         ", \"frames\": " + count(frames) + ", \"blocks\": " + count(blocks_) +
         ", \"lost\": " + count(std::max(device_.lostBlocks(), gaps_)) +
         ", \"late\": " + count(late_) +
         ", \"process_ns\": {\"mean\": " + count(std::llround(mean)) +
         ", \"p50\": " + count(percentile(0.5)) + ", \"p99\": " + count(percentile(0.99)) +
         ", \"max\": " + count(longest_) + "}, \"load\": " + decimal(load, 6) + "}";
}

} // namespace orbi
