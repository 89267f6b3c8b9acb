#pragma once

#include "foundation/string.h"
#include "platform/realtime.h"
#include "platform/thread.h"

#include <atomic>
#include <functional>
#include <memory>

namespace orbi {

/// Applies one of the six steps to any thread of the process, such as one that a driver started.
/// What a step means depends on the priority class of the process; a step above normal leaves a
/// real-time thread of at least that priority as it is. False outside of 0 to 5, and
/// where the system refuses.
bool applyThreadPriority(platform::ThreadId thread, int step);

/// A thread with a priority, an affinity and a way into the real-time class. One owner at a time
/// calls it, beside the thread itself.
class FThreadBase {
public:
  static constexpr int lowestPriority = 0;
  static constexpr int normalPriority = 2;
  static constexpr int highestPriority = 5;
  static constexpr int anyProcessor = -1;

  FThreadBase() = default;
  FThreadBase(const FThreadBase&) = delete;
  FThreadBase& operator=(const FThreadBase&) = delete;

  // For subclasses
  virtual void destroy() { delete this; }
  virtual bool setPriority(int step); ///< see below
  virtual void startsRunning() {}     ///< on the thread, right before run
  /// The thread's body, with what exitValue tells afterwards; the object has to live until it ends.
  virtual uint32_t run() { return 0; }
  virtual const char* getName() const { return name_.text(); }

  // Running
  bool start(const char* name); ///< false when it runs already or the system has no thread left
  bool isStarted() const { return started_; }
  bool join(uint32_t milliseconds); ///< true as well when nothing was started; not on the thread
  /// Lets go of a thread that doesn't end in time; afterwards this is an object without a thread.
  /// Threads can't be ended from outside without harm, so it goes on until it ends by itself, and
  /// what it uses has to last that long.
  void kill();
  uint32_t exitValue() const { return exitValue_ ? exitValue_->load() : 0; } ///< 0 before the end
  platform::ThreadId threadId() const { return handle_.id(); }               ///< 0 when none runs

  // Scheduling
  // setPriority keeps the step for the start, also a wrong one. Without a thread true, else false
  // outside of 0 to 5 or where the system refuses.
  int priority() const { return priority_; }
  /// The processor of this number modulo 64, or anyProcessor. Keeps the number; false without a
  /// thread and when the process may not use that processor, which leaves the thread where it was.
  bool setProcessor(int processor);
  int processor() const { return processor_; }
  /// For the calling thread, which has to be the one to be raised, and lowered again, with this
  /// object. True only if it really runs in real time then; for `on` false, if it was taken back.
  bool setRealtime(bool on, bool critical);

protected:
  virtual ~FThreadBase() = default;
  /// Starts a body that doesn't need this object.
  bool launch(const char* name, std::function<uint32_t()> body);

private:
  int priority_ = normalPriority;
  int processor_ = anyProcessor;
  bool started_ = false;
  CmString name_;
  std::shared_ptr<std::atomic<uint32_t>> exitValue_; ///< the thread's, too, which may outlast this
  platform::ThreadHandle handle_;
  platform::RealtimeClass realtime_;
};

} // namespace orbi
