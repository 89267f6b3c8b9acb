#pragma once

#include <atomic>
#include <cstdint>

namespace orbi::platform {

/// A counter of passes. `release` takes no lock and never blocks.
class Semaphore {
public:
  static constexpr std::uint32_t maximum = 0x7fffffff;

  explicit Semaphore(std::uint32_t count);
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  /// Answers the count before, or -1 when it would rise above the maximum; then nothing changes.
  std::int64_t release(std::uint32_t count = 1);

  void wait();
  bool wait(std::uint32_t milliseconds); ///< false on time-out

private:
  bool tryTake();
  bool waitUntil(std::int64_t deadline);

  std::atomic<std::uint32_t> count_;
  std::atomic<std::uint32_t> waiting_{0};
};

} // namespace orbi::platform
