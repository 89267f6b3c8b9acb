#pragma once

#include <cstddef>

namespace orbi::platform {

/// Mutual exclusion that a thread may enter again while it is inside. Without contention entering
/// costs no system call; with contention the holder inherits the priority of who waits, so a
/// real-time thread isn't held up by an ordinary one that was put aside.
class RecursiveLock {
public:
  RecursiveLock();
  ~RecursiveLock();
  RecursiveLock(const RecursiveLock&) = delete;
  RecursiveLock& operator=(const RecursiveLock&) = delete;

  void enter();
  bool tryEnter(); ///< false when another thread is inside
  void leave();    ///< once for each enter, on the same thread

private:
  alignas(std::max_align_t) std::byte storage_[64];
};

} // namespace orbi::platform
