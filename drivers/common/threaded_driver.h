#pragma once

#include "common/driver.h"
#include "common/steady_clock.h"

#include <atomic>
#include <cstdint>
#include <thread>

namespace loom {

/// A driver whose blocks come from a thread of its own.
class ThreadedDriver : public Driver {
protected:
  using Driver::Driver;

  // Main thread, while the driver's thread does not run
  virtual int32_t beforeRun() = 0; ///< an error keeps start from starting
  virtual int32_t afterRun() = 0;  ///< its result is that of stop

  /// The driver's thread: blocks until stopping(). A block whose switch has begun is still played.
  virtual void run() = 0;

  bool stopping() const { return stopping_.load(std::memory_order_relaxed); }

  /// Driver's thread: sleeps until then (nanoseconds of the steady clock), or shortly after
  /// stopping.
  void sleepUntil(uint64_t deadline) const;

private:
  int32_t start() final;
  int32_t stop() final;
  bool waitForEnd();

  std::thread thread_;
  // Carries nothing but itself; joining orders everything else.
  std::atomic<bool> stopping_{false};
  std::atomic<bool> ended_{true}; ///< run has returned
};

} // namespace loom
