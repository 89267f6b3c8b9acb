#include "foundation/thread.h"

#include "platform/event.h"

#include <iterator>
#include <memory>
#include <optional>

namespace orbi {

using platform::ThreadPriority;

namespace {

struct PriorityStep {
  ThreadPriority inNormalProcess;
  ThreadPriority inHighProcess; // one lower, as the process is higher already
};

constexpr PriorityStep prioritySteps[] = {
    {ThreadPriority::idle, ThreadPriority::idle},
    {ThreadPriority::belowNormal, ThreadPriority::lowest},
    {ThreadPriority::normal, ThreadPriority::belowNormal},
    {ThreadPriority::aboveNormal, ThreadPriority::normal},
    {ThreadPriority::highest, ThreadPriority::aboveNormal},
    {ThreadPriority::timeCritical, ThreadPriority::timeCritical},
};

} // namespace

static std::optional<ThreadPriority> priorityOfStep(int step)
{
  if (step < 0 || step >= static_cast<int>(std::size(prioritySteps)))
    return std::nullopt;
  const bool normal = platform::processPriority() == platform::ProcessPriority::normal;
  return normal ? prioritySteps[step].inNormalProcess : prioritySteps[step].inHighProcess;
}

bool applyThreadPriority(platform::ThreadId thread, int step)
{
  const std::optional<ThreadPriority> priority = priorityOfStep(step);
  return priority && platform::setThreadPriority(thread, *priority, true);
}

// Running

bool FThreadBase::start(const char* name)
{
  return launch(name, [this] {
    startsRunning();
    return run();
  });
}

bool FThreadBase::launch(const char* name, std::function<uint32_t()> body)
{
  if (handle_ && !handle_.join(0))
    return false;
  started_ = true;
  name_.set(name);
  // The body begins when the handle stands in its place, so that it can use it. Afterwards this
  // object may be gone at any moment, if that is what the body does.
  auto begin = std::make_shared<platform::Event>(platform::EventReset::manual);
  auto value = std::make_shared<std::atomic<uint32_t>>(0);
  exitValue_ = value;
  handle_ = platform::ThreadHandle::start(
      name,
      [begin, value, work = std::move(body)] {
        begin->wait();
        value->store(work());
      },
      priorityOfStep(priority_).value_or(ThreadPriority::normal));
  const bool launched = static_cast<bool>(handle_);
  begin->set();
  return launched;
}

bool FThreadBase::join(uint32_t milliseconds)
{
  return !handle_ || handle_.join(milliseconds);
}

void FThreadBase::kill()
{
  handle_.abandon();
}

// Scheduling

bool FThreadBase::setPriority(int step)
{
  priority_ = step;
  const std::optional<ThreadPriority> priority = priorityOfStep(step);
  return !handle_ || (priority && platform::setThreadPriority(handle_.id(), *priority));
}

bool FThreadBase::setProcessor(int processor)
{
  processor_ = processor;
  if (!handle_ || processor < anyProcessor)
    return false;
  const uint64_t mask =
      processor == anyProcessor ? platform::processAffinity() : uint64_t{1} << (processor & 63);
  return platform::setThreadAffinity(handle_.id(), mask);
}

bool FThreadBase::setRealtime(bool on, bool critical)
{
  const bool takenBack = realtime_.leave();
  if (!on)
    return takenBack;
  return realtime_.enter(critical ? platform::RealtimeClass::Level::critical
                                  : platform::RealtimeClass::Level::high);
}

} // namespace orbi
