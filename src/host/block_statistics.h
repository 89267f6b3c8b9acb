#pragma once

#include "audio/device_listener.h"

#include <array>
#include <cstdint>
#include <string>

namespace orbi {

class LoomDevice;

/// Times every block from before the listener to behind the conversion. Written by the thread that
/// fills the blocks, read when the device has stopped.
class BlockStatistics final : public BlockMeter {
public:
  explicit BlockStatistics(const LoomDevice& device) : device_(device) {}

  ORBI_REALTIME_SELDOM void blockBegins() override;
  ORBI_REALTIME_SELDOM void blockEnds() override;

  /// One line of JSON: driver, rate, frames, blocks, lost, late, process_ns (mean, p50, p99, max)
  /// and load. Lost are blocks that nobody filled, late those that took longer than they last.
  std::string json(const std::string& driver, double rate, int32_t frames) const;

private:
  /// Nanoseconds by powers of two, each in 16 equal steps: percentiles within 6 %.
  static constexpr int stepBits = 4;
  static constexpr size_t bucketCount = 64 << stepBits;
  static size_t bucketOf(uint64_t nanoseconds);
  static uint64_t valueOf(size_t bucket);
  uint64_t percentile(double share) const;
  ORBI_REALTIME_SELDOM void countGap();

  const LoomDevice& device_;
  std::array<uint32_t, bucketCount> histogram_{};
  int64_t begin_ = 0;
  uint64_t blocks_ = 0;
  uint64_t late_ = 0;
  uint64_t gaps_ = 0; ///< blocks that the driver's position jumped over
  double nextPosition_ = -1.0;
  uint64_t sum_ = 0;
  uint64_t longest_ = 0;
};

} // namespace orbi
