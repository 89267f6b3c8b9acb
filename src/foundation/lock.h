#pragma once

#include "platform/lock.h"

namespace orbi {

/// Recursive critical section. The name serves the debugger.
class FLock {
public:
  explicit FLock(const char* name = "FLock") : name_(name) {}
  FLock(const FLock&) = delete;
  FLock& operator=(const FLock&) = delete;

  void enter() { lock_.enter(); }
  bool tryEnter() { return lock_.tryEnter(); } ///< false when another thread is inside
  void leave() { lock_.leave(); }
  const char* name() const { return name_; }

private:
  platform::RecursiveLock lock_;
  const char* name_;
};

/// The name under which the application object's lock is made.
using FRecursiveLock = FLock;

/// Enters in the constructor and leaves in the destructor.
class FGuard {
public:
  explicit FGuard(FLock& lock) : lock_(lock) { lock_.enter(); }
  ~FGuard() { lock_.leave(); }
  FGuard(const FGuard&) = delete;
  FGuard& operator=(const FGuard&) = delete;

private:
  FLock& lock_;
};

} // namespace orbi
