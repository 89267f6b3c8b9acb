#include "audio/realtime_worker.h"

#include <chrono>
#include <thread>

namespace orbi {

bool RealtimeWorker::start()
{
  if (isAlive() || abandoned_)
    return isAlive();
  events_ = std::make_shared<Events>();
  section_.emplace();
  events_->alive.store(true);
  thread_ = platform::ThreadHandle::start(
      "LoomDevice", [this] { run(); }, platform::ThreadPriority::aboveNormal);
  if (!thread_)
    events_->alive.store(false);
  return isAlive();
}

void RealtimeWorker::stop()
{
  if (!isAlive())
    return;
  events_->alive.store(false);
  signalGo();
  if (!thread_.join(stopMilliseconds)) {
    thread_.abandon();
    abandoned_ = true;
    return;
  }
  thread_ = {};
  section_.reset();
}

bool RealtimeWorker::waitGo()
{
  // Kept here: a stop that didn't wait to the end may have let go of them.
  std::shared_ptr<Events> events = events_;
  events->go.wait();
  return events->alive.load();
}

void RealtimeWorker::sleep(uint32_t milliseconds)
{
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

} // namespace orbi
