#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace orbi::platform {

class EventSource; // what a window system adds, known inside the platform layer alone

/// Waits for whatever concerns the main thread: timers, a wake-up, the wish to quit, the events of
/// a window system. Everything happens on the thread that runs the loop, except for `wake` and
/// `quit`. One in the application; while it lives it takes the signals that ask a program to end.
class RunLoop {
public:
  using TimerId = int; ///< above 0

  static constexpr std::int64_t forever = -1;

  RunLoop();
  ~RunLoop(); ///< gives the signals back to who had them before
  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;

  static RunLoop* instance();
  /// Wakes the application's loop when there is one, also while it is just being destroyed. Any
  /// thread; never blocks.
  static void wakeInstance();

  // Timers
  /// Calls every `milliseconds`, 1 or more. Calls that were missed are left out, not made up for.
  TimerId addTimer(std::int64_t milliseconds, std::function<void()> call);
  void removeTimer(TimerId timer); ///< also from within its own call

  // From any thread and from signal handlers; never blocks
  void wake(); ///< the present or next wait ends
  void quit();

  // Running
  /// Waits for something to happen, at most this long, and does it. True when something happened,
  /// be it only a wake-up. Once quitting it returns at once.
  bool runOnce(std::int64_t milliseconds);
  void run(const std::function<void()>& afterEach); ///< until `quit` or a signal to end
  bool quitRequested() const;

  // Inside the platform layer
  void addSource(EventSource& source); ///< borrowed until it is removed
  void removeSource(EventSource& source);

private:
  struct Private;
  std::unique_ptr<Private> own_;
};

} // namespace orbi::platform
