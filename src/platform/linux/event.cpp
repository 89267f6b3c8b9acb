#include "platform/event.h"

#include "platform/linux/futex.h"

#include <bit>
#include <climits>

namespace orbi::platform {

// The word, from below: the signal; how many threads wait; how many of them are released but
// haven't gone yet (automatic events alone); how many releases were taken so far, for a manual
// event how many were given. A thread that comes to wait notes the number of the last release that
// was given before. Releases are taken in the order of their numbers, so one that was handed to
// those who waited goes to one of them, never to somebody who came later, and no reset takes it
// back. The kernel compares the lower half, in which every change of these shows.
constexpr std::uint64_t signalBit = 1;
constexpr int countBits = 11;
constexpr std::uint64_t countMask = (1u << countBits) - 1;
constexpr int waiterShift = 1;
constexpr int releaseShift = waiterShift + countBits;
constexpr int takenShift = releaseShift + countBits;
constexpr std::uint64_t oneWaiter = std::uint64_t{1} << waiterShift;
constexpr std::uint64_t oneRelease = std::uint64_t{1} << releaseShift;
constexpr std::uint64_t oneTaken = std::uint64_t{1} << takenShift;

static std::uint64_t waiters(std::uint64_t word)
{
  return word >> waiterShift & countMask;
}

/// Given, but not taken yet.
static std::uint64_t releases(std::uint64_t word)
{
  return word >> releaseShift & countMask;
}

static std::uint64_t taken(std::uint64_t word)
{
  return word >> takenShift;
}

static std::uint64_t given(std::uint64_t word)
{
  return taken(word) + releases(word);
}

static std::atomic<std::uint32_t>& lowerHalf(std::atomic<std::uint64_t>& word)
{
  static_assert(std::endian::native == std::endian::little);
  static_assert(sizeof(word) == 2 * sizeof(std::atomic<std::uint32_t>));
  return reinterpret_cast<std::atomic<std::uint32_t>&>(word); // for its address, never read
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
  std::uint64_t word = word_.load(std::memory_order_relaxed);
  std::uint64_t next;
  do {
    releasesSome = waiters(word) > (manual ? 0 : releases(word));
    next = word;
    if (releasesSome)
      next += manual ? oneTaken : oneRelease;
    if (!staysSignalled)
      next &= ~signalBit;
    else if (manual || !releasesSome)
      next |= signalBit;
  } while (!word_.compare_exchange_weak(word, next, std::memory_order_release,
                                        std::memory_order_relaxed));
  if (releasesSome)
    wakeAll();
}

/// All, as the kernel can't tell for whom an automatic release is.
void Event::wakeAll()
{
  futex::wake(lowerHalf(word_), INT_MAX);
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
  std::uint64_t entered = 0;
  if (tryEnter(entered))
    return true;
  while (!tryTake(entered)) {
    const std::uint64_t word = word_.load(std::memory_order_relaxed);
    if (!letsThrough(word, entered) && !sleep(word, deadline))
      return giveUp(entered);
  }
  return true;
}

bool Event::sleep(std::uint64_t word, std::int64_t deadline)
{
  return futex::wait(lowerHalf(word_), static_cast<std::uint32_t>(word), deadline);
}

/// True when the signal stood already and no waiting is needed.
bool Event::tryEnter(std::uint64_t& entered)
{
  std::uint64_t word = word_.load(std::memory_order_relaxed);
  for (;;) {
    const bool signalled = (word & signalBit) != 0;
    std::uint64_t next = word + oneWaiter;
    if (signalled)
      next = manual_ ? word : word & ~signalBit;
    if (word_.compare_exchange_weak(word, next, std::memory_order_acquire,
                                    std::memory_order_relaxed)) {
      entered = given(word);
      return signalled;
    }
  }
}

bool Event::letsThrough(std::uint64_t word, std::uint64_t entered) const
{
  if (manual_)
    return (word & signalBit) != 0 || given(word) != entered;
  return releases(word) > 0 && taken(word) >= entered;
}

/// Goes through, and is no longer a waiter, when the event lets this thread.
bool Event::tryTake(std::uint64_t entered)
{
  std::uint64_t word = word_.load(std::memory_order_relaxed);
  while (letsThrough(word, entered)) {
    const std::uint64_t next = word - oneWaiter + (manual_ ? 0 : oneTaken - oneRelease);
    const bool isNextsTurn = !manual_ && releases(next) > 0;
    if (word_.compare_exchange_weak(word, next, std::memory_order_acquire,
                                    std::memory_order_relaxed)) {
      if (isNextsTurn)
        wakeAll(); // one may have waited for this release to be taken
      return true;
    }
  }
  return false;
}

/// After the time-out. A release that came in the last moment counts, or it would be lost; when
/// others have to take theirs before, these are awake already and it is waited for them.
bool Event::giveUp(std::uint64_t entered)
{
  while (!tryTake(entered)) {
    std::uint64_t word = word_.load(std::memory_order_relaxed);
    if (letsThrough(word, entered))
      continue;
    if (releases(word) > 0 && given(word) != entered)
      sleep(word, futex::noDeadline);
    else if (word_.compare_exchange_strong(word, word - oneWaiter))
      return false;
  }
  return true;
}

} // namespace orbi::platform
