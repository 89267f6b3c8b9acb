#include "platform/semaphore.h"

#include "platform/linux/futex.h"

namespace orbi::platform {

Semaphore::Semaphore(std::uint32_t count) : count_(count < maximum ? count : maximum) {}

// The counter and the number of those who wait are two words: each side writes its own before it
// reads the other's, in one total order, so that at least one of them sees what the other did.
std::int64_t Semaphore::release(std::uint32_t count)
{
  std::uint32_t before = count_.load();
  do {
    if (count > maximum - before)
      return -1;
  } while (!count_.compare_exchange_weak(before, before + count));
  if (waiting_.load() > 0)
    futex::wake(count_, static_cast<int>(count));
  return before;
}

void Semaphore::wait()
{
  waitUntil(futex::noDeadline);
}

bool Semaphore::wait(std::uint32_t milliseconds)
{
  return waitUntil(futex::deadlineAfter(milliseconds));
}

bool Semaphore::tryTake()
{
  std::uint32_t count = count_.load();
  while (count > 0)
    if (count_.compare_exchange_weak(count, count - 1))
      return true;
  return false;
}

bool Semaphore::waitUntil(std::int64_t deadline)
{
  if (tryTake())
    return true;
  waiting_.fetch_add(1);
  bool taken = tryTake();
  while (!taken) {
    const bool inTime = futex::wait(count_, 0, deadline);
    taken = tryTake();
    if (!taken && !inTime)
      break;
  }
  waiting_.fetch_sub(1);
  return taken;
}

} // namespace orbi::platform
