#pragma once

#include "loom/loom.h"

#include <atomic>
#include <cstdint>

/// Functions of each block lie together: between two blocks the caches forget everything, and each
/// further page costs.
#define LOOM_EACH_BLOCK [[gnu::hot, gnu::section(".text.hot.loom_block")]]

namespace loom {

/// The host's functions as a driver calls them. Attached while there are buffers.
class HostLink {
public:
  void attach(const LoomCallbacks& callbacks); ///< main thread, nothing runs
  void detach();                               ///< main thread, nothing runs
  void beginRun();                             ///< main thread, before the first switch: position 0

  /// Driver's thread: the host fills a half and has done so when this returns. position is that of
  /// the half's first frame, timeStamp is in nanoseconds of the steady clock.
  LOOM_EACH_BLOCK void bufferSwitch(int half, uint64_t position, uint64_t timeStamp);

  /// Is the calling thread the one that is inside bufferSwitch?
  bool insideSwitch() const;

  /// Is any thread inside bufferSwitch?
  bool isSwitching() const { return switchThread_.load(std::memory_order_relaxed) != 0; }

  /// Asks the host to close and open the driver; once for each attach. Any thread, never blocks.
  void requestReset();

  // What the last switch carried. Any thread; the two belong together on the switch's own.
  uint64_t position() const { return position_.load(std::memory_order_relaxed); }
  uint64_t timeStamp() const { return timeStamp_.load(std::memory_order_relaxed); }

private:
  using MessageFunction = int32_t (*)(int32_t, int32_t, ...);

  LoomCallbacks callbacks_{};
  bool usesTimeInfo_ = false;
  LoomTimeRecord time_{};
  LoomTimeRecord firstTime_{}; ///< what each block's record begins as
  // Library threads may report a change at any moment, so this pointer is taken apart from the
  // rest.
  std::atomic<MessageFunction> message_{nullptr};
  std::atomic<bool> resetRequested_{false};
  // Only compared with the own thread, whose own stores it always sees.
  std::atomic<uintptr_t> switchThread_{0};
  std::atomic<uint64_t> position_{0}; // single values, no order between them needed
  std::atomic<uint64_t> timeStamp_{0};
};

LoomCounter toCounter(uint64_t value);

} // namespace loom
