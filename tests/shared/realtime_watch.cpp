#include "shared/realtime_watch.h"

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <ctime>
#include <dlfcn.h>
#include <linux/futex.h>
#include <poll.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

thread_local int watching = 0;
thread_local constinit RealtimeWatch::Counts spent;

struct Range {
  std::atomic<uintptr_t> begin{0};
  std::atomic<uintptr_t> end{0};
};
Range allowed[4];

} // namespace

RealtimeWatch::RealtimeWatch()
{
  ++watching;
}

RealtimeWatch::~RealtimeWatch()
{
  --watching;
}

RealtimeWatch::Counts RealtimeWatch::counted()
{
  return spent;
}

RealtimeWatch::Allowance::Allowance(const void* begin, size_t bytes) : place_(0)
{
  while (allowed[place_].begin != 0)
    ++place_;
  allowed[place_].end = reinterpret_cast<uintptr_t>(begin) + bytes;
  allowed[place_].begin = reinterpret_cast<uintptr_t>(begin);
}

RealtimeWatch::Allowance::~Allowance()
{
  allowed[place_].begin = allowed[place_].end = 0;
}

#ifndef ORBI_SANITIZED

namespace {

void countLock(const void* mutex)
{
  if (watching == 0)
    return;
  auto address = reinterpret_cast<uintptr_t>(mutex);
  for (const Range& range : allowed)
    if (address >= range.begin && address < range.end) {
      ++spent.allowedLocks;
      return;
    }
  ++spent.locks;
}

/// The C library's own behind one of the functions below.
template <class Function>
Function* next(const char* name)
{
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The program's own come before the C library's, for the modules that it loads as well.
#define WATCHED extern "C" __attribute__((visibility("default")))
#define WATCHED_MEMORY(name, result, parameters, call)                                             \
  WATCHED result name parameters noexcept                                                          \
  {                                                                                                \
    spent.allocations += watching;                                                                 \
    return call;                                                                                   \
  }
#define WATCHED_WAIT(name, result, parameters, arguments)                                          \
  WATCHED result name parameters                                                                   \
  {                                                                                                \
    static auto* const real = next<result parameters>(#name);                                      \
    spent.waits += watching;                                                                       \
    return real arguments;                                                                         \
  }

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);
void* __libc_memalign(size_t, size_t);
}

WATCHED_MEMORY(malloc, void*, (size_t bytes), __libc_malloc(bytes))
WATCHED_MEMORY(calloc, void*, (size_t count, size_t bytes), __libc_calloc(count, bytes))
WATCHED_MEMORY(realloc, void*, (void* old, size_t bytes), __libc_realloc(old, bytes))
WATCHED_MEMORY(free, void, (void* block), __libc_free(block))
WATCHED_MEMORY(aligned_alloc, void*, (size_t alignment, size_t bytes),
               __libc_memalign(alignment, bytes))

WATCHED int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
  static auto* const real = next<int(pthread_mutex_t*)>("pthread_mutex_lock");
  countLock(mutex);
  return real(mutex);
}

// Waking another thread takes no time worth counting; everything else might.
WATCHED long syscall(long number, ...) noexcept
{
  static auto* const real = next<long(long, ...)>("syscall");
  va_list list;
  va_start(list, number);
  long a[6];
  for (long& argument : a)
    argument = va_arg(list, long);
  va_end(list);
  bool wakes = number == SYS_futex && (a[1] & FUTEX_CMD_MASK) == FUTEX_WAKE;
  spent.waits += wakes ? 0 : watching;
  return real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}

WATCHED_WAIT(pthread_cond_wait, int, (pthread_cond_t * condition, pthread_mutex_t* mutex),
             (condition, mutex))
WATCHED_WAIT(pthread_cond_timedwait, int,
             (pthread_cond_t * condition, pthread_mutex_t* mutex, const timespec* until),
             (condition, mutex, until))
WATCHED_WAIT(nanosleep, int, (const timespec* time, timespec* left), (time, left))
WATCHED_WAIT(clock_nanosleep, int,
             (clockid_t clock, int flags, const timespec* time, timespec* left),
             (clock, flags, time, left))
WATCHED_WAIT(read, ssize_t, (int file, void* buffer, size_t bytes), (file, buffer, bytes))
WATCHED_WAIT(write, ssize_t, (int file, const void* buffer, size_t bytes), (file, buffer, bytes))
WATCHED_WAIT(poll, int, (pollfd * files, nfds_t count, int timeout), (files, count, timeout))

#endif
