#include "common/threaded_driver.h"

#include <algorithm>
#include <ctime>

namespace loom {

namespace {

constexpr uint64_t nanosecondsPerSecond = 1'000'000'000;
constexpr uint64_t longestBlock = 2 * nanosecondsPerSecond; // that a stop waits for
// A thread asleep looks for a stop this often.
constexpr uint64_t longestSleep = nanosecondsPerSecond / 50;

} // namespace

void ThreadedDriver::sleepUntil(uint64_t deadline) const
{
  for (uint64_t now = steadyNow(); now < deadline && !stopping(); now = steadyNow()) {
    const uint64_t until = std::min(deadline, now + longestSleep);
    const timespec time{static_cast<time_t>(until / nanosecondsPerSecond),
                        static_cast<long>(until % nanosecondsPerSecond)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
  }
}

int32_t ThreadedDriver::start()
{
  if (thread_.joinable())
    return loomBadMode;
  const int32_t result = beforeRun();
  if (result != loomOk)
    return result;
  host().beginRun();
  stopping_.store(false, std::memory_order_relaxed);
  try {
    ended_.store(false, std::memory_order_relaxed);
    thread_ = std::thread([this] {
      run();
      ended_.store(true, std::memory_order_release);
    });
  } catch (...) {
    afterRun();
    return fail(loomNoMemory, "no thread can be started");
  }
  return loomOk;
}

int32_t ThreadedDriver::stop()
{
  stopping_.store(true, std::memory_order_relaxed);
  if (host().insideSwitch())
    return loomOk; // the thread ends after this block; a stop from outside joins it
  if (!thread_.joinable())
    return loomOk;
  if (!waitForEnd())
    return fail(loomBadMode, "the host doesn't come back from a block");
  thread_.join();
  return afterRun();
}

/// False when the thread has been in the host for so long that it isn't waited for any longer. It
/// may come back yet, so a later stop waits again.
bool ThreadedDriver::waitForEnd()
{
  const uint64_t limit = steadyNow() + longestBlock;
  while (!ended_.load(std::memory_order_acquire)) {
    if (steadyNow() > limit && host().isSwitching())
      return false;
    const timespec moment{0, nanosecondsPerSecond / 1000};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &moment, nullptr);
  }
  return true;
}

} // namespace loom
