#include "platform/event.h"

#include "platform/linux/futex.h"

#include <climits>

namespace orbi::platform {

// The word: bit 0 is the signal; 15 bits count the waiting threads; the upper 16 bits are, for an
// automatic event, how many of the waiting threads are released but haven't gone yet, and for a
// manual one the number of the release, so that who waits from before sees it change. A release is
// thus handed to those who wait at that moment and no later reset can take it back from them.
constexpr std::uint32_t signalBit = 1;
constexpr std::uint32_t oneWaiter = 1u << 1;
constexpr std::uint32_t waiterMask = 0xfffe;
constexpr std::uint32_t oneRelease = 1u << 16;
constexpr std::uint32_t releaseMask = 0xffff0000;

static std::uint32_t waiters(std::uint32_t word)
{
  return (word & waiterMask) / oneWaiter;
}

static std::uint32_t releases(std::uint32_t word)
{
  return (word & releaseMask) / oneRelease;
}

Event::Event(EventReset reset, bool signalled)
    : manual_(reset == EventReset::manual), word_(signalled ? signalBit : 0)
{
}

// Changing the signal

void Event::set()
{
  release(true);
}

void Event::pulse()
{
  release(false);
}

void Event::reset()
{
  word_.fetch_and(~signalBit, std::memory_order_relaxed);
}

void Event::release(bool staysSignalled)
{
  const bool manual = manual_; // nothing of the object is read once a thread may have been released
  bool releasesSome;
  std::uint32_t word = word_.load(std::memory_order_relaxed);
  std::uint32_t next;
  do {
    releasesSome = manual ? waiters(word) > 0 : waiters(word) > releases(word);
    next = releasesSome ? word + oneRelease : word;
    if (!staysSignalled)
      next &= ~signalBit;
    else if (manual || !releasesSome)
      next |= signalBit;
  } while (!word_.compare_exchange_weak(word, next, std::memory_order_release,
                                        std::memory_order_relaxed));
  if (releasesSome)
    futex::wake(word_, manual ? INT_MAX : 1);
}

// Waiting

void Event::wait()
{
  waitUntil(futex::noDeadline);
}

bool Event::wait(std::uint32_t milliseconds)
{
  return waitUntil(futex::deadlineAfter(milliseconds));
}

bool Event::waitUntil(std::int64_t deadline)
{
  std::uint32_t entered = 0;
  if (tryEnter(entered))
    return true;
  while (!tryTake(entered)) {
    std::uint32_t word = word_.load(std::memory_order_relaxed);
    if (!letsThrough(word, entered) && !futex::wait(word_, word, deadline))
      return giveUp(entered);
  }
  return true;
}

/// True when the signal stood already and no waiting is needed.
bool Event::tryEnter(std::uint32_t& entered)
{
  std::uint32_t word = word_.load(std::memory_order_relaxed);
  for (;;) {
    const bool signalled = (word & signalBit) != 0;
    std::uint32_t next = word + oneWaiter;
    if (signalled)
      next = manual_ ? word : word & ~signalBit;
    if (word_.compare_exchange_weak(word, next, std::memory_order_acquire,
                                    std::memory_order_relaxed)) {
      entered = releases(word);
      return signalled;
    }
  }
}

bool Event::letsThrough(std::uint32_t word, std::uint32_t entered) const
{
  return (word & signalBit) != 0 || (manual_ ? releases(word) != entered : releases(word) > 0);
}

/// Goes through, and is no longer a waiter, when the event lets this thread.
bool Event::tryTake(std::uint32_t entered)
{
  std::uint32_t word = word_.load(std::memory_order_relaxed);
  while (letsThrough(word, entered)) {
    std::uint32_t next = word - oneWaiter;
    if (!manual_)
      next = releases(word) > 0 ? next - oneRelease : next & ~signalBit;
    if (word_.compare_exchange_weak(word, next, std::memory_order_acquire,
                                    std::memory_order_relaxed))
      return true;
  }
  return false;
}

/// After the time-out. A release that came in the last moment counts, or it would be lost.
bool Event::giveUp(std::uint32_t entered)
{
  for (;;) {
    if (tryTake(entered))
      return true;
    std::uint32_t word = word_.load(std::memory_order_relaxed);
    if (!letsThrough(word, entered) && word_.compare_exchange_strong(word, word - oneWaiter))
      return false;
  }
}

} // namespace orbi::platform
