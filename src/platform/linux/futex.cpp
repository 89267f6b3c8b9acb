#include "platform/linux/futex.h"

#include <cerrno>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace orbi::platform::futex {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

static_assert(sizeof(std::atomic<std::uint32_t>) == 4 &&
              std::atomic<std::uint32_t>::is_always_lock_free);

std::int64_t deadlineAfter(std::uint32_t milliseconds)
{
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * nanosecondsPerSecond + now.tv_nsec + std::int64_t{milliseconds} * 1'000'000;
}

bool wait(std::atomic<std::uint32_t>& word, std::uint32_t expected, std::int64_t deadline)
{
  timespec until{};
  timespec* limit = nullptr;
  if (deadline != noDeadline) {
    until.tv_sec = deadline / nanosecondsPerSecond;
    until.tv_nsec = deadline % nanosecondsPerSecond;
    limit = &until;
  }
  // The bit set form takes an absolute time on the steady clock.
  long result = syscall(SYS_futex, &word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, expected, limit,
                        nullptr, FUTEX_BITSET_MATCH_ANY);
  return result == 0 || errno != ETIMEDOUT;
}

void wake(std::atomic<std::uint32_t>& word, int threads)
{
  syscall(SYS_futex, &word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, threads, nullptr, nullptr, 0);
}

} // namespace orbi::platform::futex
