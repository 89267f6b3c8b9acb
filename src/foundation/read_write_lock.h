#pragma once

#include "foundation/lock.h"
#include "platform/event.h"

namespace orbi {

/// Many readers or one writer. A writer that is inside holds off new readers, one that only waits
/// doesn't; so a reader may enter again, and a writer may also read and enter again. A reader that
/// wants to write must leave first, also one that is a writer: entering again to write while it
/// still reads, it waits for itself.
class FReadWriteLock {
public:
  FReadWriteLock() = default;
  FReadWriteLock(const FReadWriteLock&) = delete;
  FReadWriteLock& operator=(const FReadWriteLock&) = delete;

  void enterRead();
  void leaveRead();
  void enterWrite();
  void leaveWrite() { lock_.leave(); }

private:
  FLock lock_{"FReadWriteLock"}; ///< held by a writer all along, by readers only in passing
  int readers_ = 0;              ///< under the lock
  platform::Event noReaders_{platform::EventReset::manual, true};
};

inline void FReadWriteLock::enterRead()
{
  FGuard guard(lock_);
  if (readers_++ == 0)
    noReaders_.reset();
}

inline void FReadWriteLock::leaveRead()
{
  FGuard guard(lock_);
  if (--readers_ == 0)
    noReaders_.set();
}

inline void FReadWriteLock::enterWrite()
{
  lock_.enter();
  while (readers_ > 0) {
    lock_.leave();
    noReaders_.wait();
    lock_.enter();
  }
}

/// Reads for as long as it lives.
class FReadGuard {
public:
  explicit FReadGuard(FReadWriteLock& lock) : lock_(lock) { lock_.enterRead(); }
  ~FReadGuard() { lock_.leaveRead(); }
  FReadGuard(const FReadGuard&) = delete;
  FReadGuard& operator=(const FReadGuard&) = delete;

private:
  FReadWriteLock& lock_;
};

/// Writes for as long as it lives.
class FWriteGuard {
public:
  explicit FWriteGuard(FReadWriteLock& lock) : lock_(lock) { lock_.enterWrite(); }
  ~FWriteGuard() { lock_.leaveWrite(); }
  FWriteGuard(const FWriteGuard&) = delete;
  FWriteGuard& operator=(const FWriteGuard&) = delete;

private:
  FReadWriteLock& lock_;
};

} // namespace orbi
