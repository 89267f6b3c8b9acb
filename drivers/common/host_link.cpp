#include "common/host_link.h"

#include <thread>

namespace loom {

namespace {

/// A number of the calling thread, without asking a library.
uintptr_t thisThread()
{
#if defined(__x86_64__) || defined(__aarch64__)
  return reinterpret_cast<uintptr_t>(__builtin_thread_pointer());
#else
  return std::hash<std::thread::id>()(std::this_thread::get_id()) | 1;
#endif
}

bool hostTakesTimeInfo(const LoomCallbacks& callbacks)
{
  return callbacks.bufferSwitchTimeInfo && callbacks.message &&
         callbacks.message(loomSelectorSupported, loomSupportsTimeInfo) == 1 &&
         callbacks.message(loomSupportsTimeInfo, 0) == 1;
}

} // namespace

LoomCounter toCounter(uint64_t value)
{
  return {static_cast<uint32_t>(value >> 32), static_cast<uint32_t>(value)};
}

void HostLink::attach(const LoomCallbacks& callbacks)
{
  callbacks_ = callbacks;
  firstTime_.speed = 1.0;
  usesTimeInfo_ = hostTakesTimeInfo(callbacks_);
  resetRequested_.store(false, std::memory_order_relaxed);
  message_.store(callbacks.message, std::memory_order_release);
}

void HostLink::detach()
{
  message_.store(nullptr, std::memory_order_release);
}

void HostLink::beginRun()
{
  position_.store(0, std::memory_order_relaxed);
  timeStamp_.store(0, std::memory_order_relaxed);
}

void HostLink::bufferSwitch(int half, uint64_t position, uint64_t timeStamp)
{
  position_.store(position, std::memory_order_relaxed);
  timeStamp_.store(timeStamp, std::memory_order_relaxed);
  switchThread_.store(thisThread(), std::memory_order_relaxed);
  if (usesTimeInfo_) {
    time_ = firstTime_;
    time_.timeStamp = toCounter(timeStamp);
    time_.samplePosition = toCounter(position);
    callbacks_.bufferSwitchTimeInfo(&time_, half, 1);
  } else {
    callbacks_.bufferSwitch(half, 1);
  }
  switchThread_.store(0, std::memory_order_relaxed);
}

bool HostLink::insideSwitch() const
{
  return switchThread_.load(std::memory_order_relaxed) == thisThread();
}

void HostLink::requestReset()
{
  const MessageFunction message = message_.load(std::memory_order_acquire);
  if (message && !resetRequested_.exchange(true, std::memory_order_relaxed))
    message(loomResetRequest, 0);
}

} // namespace loom
