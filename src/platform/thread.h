#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace orbi::platform {

// Threads by number

using ThreadId = std::uint32_t; ///< 0 is no thread

ThreadId currentThreadId();

/// Fills `ids` with the threads of this process, in no special order; answers how many it wrote.
std::size_t listThreadIds(std::span<ThreadId> ids);

/// Relative to the priority class of the process. The three above normal mean real-time scheduling
/// where the system grants it, and the next best thing where it doesn't.
enum class ThreadPriority { idle, lowest, belowNormal, normal, aboveNormal, highest, timeCritical };

/// Whether the thread is where it was wanted. With `keepsHigher` one of the three above normal
/// leaves a thread alone that runs at an equal or higher real-time priority, given by others.
bool setThreadPriority(ThreadId thread, ThreadPriority priority, bool keepsHigher = false);

/// Bit n is processor n; processors from 64 on can't be named. The mask of all that
/// `processAffinity` names stands for all of the process's processors. False changes nothing.
bool setThreadAffinity(ThreadId thread, std::uint64_t mask);

// A thread

/// Owns a native thread. There is no way to kill one: a thread that is stopped from outside keeps
/// its locks locked for ever and half of its changes made. A body that doesn't come to its end is
/// abandoned instead, and must then only use what it owns or shares itself.
class ThreadHandle {
public:
  ThreadHandle() = default;
  ~ThreadHandle() { abandon(); }
  ThreadHandle(ThreadHandle&&) noexcept = default;
  ThreadHandle& operator=(ThreadHandle&& other) noexcept;

  /// Runs `body` on a new thread, which takes its priority before. An empty handle on failure.
  /// The system cuts the name to its limit (15 bytes on Linux). No exception may leave the body.
  static ThreadHandle start(const std::string& name, std::function<void()> body,
                            ThreadPriority priority = ThreadPriority::normal);

  explicit operator bool() const { return state_ != nullptr; }
  /// 0 for an empty handle and after the end of the body; waits for a thread that is just starting.
  ThreadId id() const;
  bool isCurrent() const;

  /// True once the thread has wholly ended, also when asked again. One thread may join at a time,
  /// and not the thread itself: that is false.
  bool join();
  bool join(std::uint32_t milliseconds); ///< false on time-out
  void abandon();                        ///< empties the handle; the thread goes on

private:
  struct State;
  bool finish();
  std::shared_ptr<State> state_;
};

// The process

enum class ProcessPriority { normal, high };

bool setProcessPriority(ProcessPriority priority); ///< false leaves everything as it was
ProcessPriority processPriority();

/// Whether a thread that wakes up is favoured for a moment. False where the system has no such
/// thing, as on Linux.
bool setProcessPriorityBoost(bool enabled);

std::uint64_t processAffinity(); ///< the processors the process may use, bit n is processor n

} // namespace orbi::platform
