#pragma once

#include "platform/event.h"
#include "platform/semaphore.h"

namespace orbi {

/// Auto-reset event: each release lets one waiting thread through. The name serves the debugger.
/// Nothing but waiting blocks, so a real-time thread may set one.
class FSignal {
public:
  explicit FSignal(const char* name = "FSignal") : name_(name) {}

  void pulse() { event_.pulse(); } ///< lets one through that waits now; nobody later
  void set() { event_.set(); }
  void reset() { event_.reset(); }
  void wait() { event_.wait(); }
  bool wait(uint32_t milliseconds) { return event_.wait(milliseconds); } ///< false on time-out
  const char* name() const { return name_; }

private:
  platform::Event event_{platform::EventReset::automatic};
  const char* name_;
};

/// Counts passes, at most 0x7fffffff.
class FSemaphore {
public:
  explicit FSemaphore(uint32_t count = 0) : semaphore_(count) {}

  /// The count before; -1, and nothing changed, above the maximum.
  int64_t release(uint32_t count = 1) { return semaphore_.release(count); }
  void wait() { semaphore_.wait(); }
  bool wait(uint32_t milliseconds) { return semaphore_.wait(milliseconds); } ///< false on time-out

private:
  platform::Semaphore semaphore_;
};

} // namespace orbi
