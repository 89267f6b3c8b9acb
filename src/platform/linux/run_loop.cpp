#include "platform/run_loop.h"

#include "platform/clock.h"
#include "platform/linux/event_source.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <vector>

namespace orbi::platform {

constexpr std::int64_t nanosecondsPerMillisecond = 1'000'000;

namespace {

std::atomic<RunLoop*> instanceNow{nullptr};
// Signals and wake-ups may come on any thread, also while the loop ends.
std::atomic<int> callersAtWork{0};

struct Timer {
  RunLoop::TimerId id;
  std::int64_t period; // nanoseconds
  std::int64_t due;
  std::shared_ptr<std::function<void()>> call; // shared, so that it may remove itself
};

constexpr std::array quitSignals{SIGINT, SIGTERM, SIGHUP};

void withInstance(void (RunLoop::*call)())
{
  callersAtWork.fetch_add(1);
  if (RunLoop* loop = instanceNow.load())
    (loop->*call)();
  callersAtWork.fetch_sub(1);
}

void requestQuit(int)
{
  const int error = errno;
  withInstance(&RunLoop::quit);
  errno = error;
}

} // namespace

struct RunLoop::Private {
  int wakeDescriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  std::atomic<bool> quitting{false};
  std::vector<Timer> timers;
  TimerId lastTimer = 0;
  std::vector<EventSource*> sources;
  std::vector<pollfd> polled; // kept, so that waiting doesn't allocate
  std::array<struct sigaction, quitSignals.size()> formerActions{};

  void takeSignals();
  void giveSignalsBack();
  int waitMilliseconds(std::int64_t milliseconds);
  bool wait(int milliseconds);
  bool takeWakeUp();
  bool dispatchSources();
  bool fireTimers();
};

// Life

RunLoop::RunLoop() : own_(std::make_unique<Private>())
{
  instanceNow.store(this);
  own_->takeSignals();
}

RunLoop::~RunLoop()
{
  own_->giveSignalsBack();
  instanceNow.store(nullptr);
  while (callersAtWork.load() > 0)
    sched_yield();
  ::close(own_->wakeDescriptor);
}

RunLoop* RunLoop::instance()
{
  return instanceNow.load();
}

void RunLoop::wakeInstance()
{
  withInstance(&RunLoop::wake);
}

void RunLoop::Private::takeSignals()
{
  struct sigaction action {};
  action.sa_handler = requestQuit;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (std::size_t i = 0; i < quitSignals.size(); ++i) {
    sigaction(quitSignals[i], nullptr, &formerActions[i]);
    // A program started so as to outlive its terminal goes on doing so.
    if (quitSignals[i] != SIGHUP || formerActions[i].sa_handler != SIG_IGN)
      sigaction(quitSignals[i], &action, nullptr);
  }
}

void RunLoop::Private::giveSignalsBack()
{
  for (std::size_t i = 0; i < quitSignals.size(); ++i)
    sigaction(quitSignals[i], &formerActions[i], nullptr);
}

// Waking and quitting

void RunLoop::wake()
{
  const std::uint64_t one = 1;
  // Fails only when the counter is full, and then the loop is woken anyway.
  [[maybe_unused]] const ssize_t written = ::write(own_->wakeDescriptor, &one, sizeof one);
}

void RunLoop::quit()
{
  own_->quitting.store(true);
  wake();
}

bool RunLoop::quitRequested() const
{
  return own_->quitting.load();
}

bool RunLoop::Private::takeWakeUp()
{
  std::uint64_t count = 0;
  return ::read(wakeDescriptor, &count, sizeof count) == sizeof count;
}

// Timers

RunLoop::TimerId RunLoop::addTimer(std::int64_t milliseconds, std::function<void()> call)
{
  const std::int64_t period = std::max<std::int64_t>(milliseconds, 1) * nanosecondsPerMillisecond;
  const TimerId id = ++own_->lastTimer;
  own_->timers.push_back({id, period, steadyNanoseconds() + period,
                          std::make_shared<std::function<void()>>(std::move(call))});
  return id;
}

void RunLoop::removeTimer(TimerId timer)
{
  std::erase_if(own_->timers, [=](const Timer& each) { return each.id == timer; });
}

bool RunLoop::Private::fireTimers()
{
  bool fired = false;
  const std::int64_t now = steadyNanoseconds();
  const TimerId newest = lastTimer; // one that is added by a call waits for its time
  // A call may add and remove timers, so the list is looked through anew after each.
  auto isDue = [&](const Timer& timer) { return timer.due <= now && timer.id <= newest; };
  for (;;) {
    const auto timer = std::find_if(timers.begin(), timers.end(), isDue);
    if (timer == timers.end())
      return fired;
    const std::int64_t missed = (now - timer->due) / timer->period;
    timer->due += (missed + 1) * timer->period;
    const auto call = timer->call;
    (*call)();
    fired = true;
  }
}

// Sources

void RunLoop::addSource(EventSource& source)
{
  own_->sources.push_back(&source);
}

void RunLoop::removeSource(EventSource& source)
{
  std::erase(own_->sources, &source);
}

bool RunLoop::Private::dispatchSources()
{
  bool dispatched = false;
  const std::vector<EventSource*> before = sources;
  for (EventSource* source : before) {
    const bool stillThere = std::find(sources.begin(), sources.end(), source) != sources.end();
    if (!stillThere)
      continue;
    const auto listened = std::find_if(polled.begin(), polled.end(), [&](const pollfd& each) {
      return each.fd == source->descriptor();
    });
    const bool readable = listened != polled.end() && listened->revents != 0;
    if (!readable && !source->hasPending())
      continue;
    source->dispatch();
    dispatched = true;
  }
  return dispatched;
}

// Running

/// Until the next timer or the limit, rounded up so that a wait never ends just before its timer.
int RunLoop::Private::waitMilliseconds(std::int64_t milliseconds)
{
  for (EventSource* source : sources)
    if (source->hasPending())
      return 0;
  std::int64_t result = milliseconds < 0 ? INT_MAX : milliseconds;
  const std::int64_t now = steadyNanoseconds();
  for (const Timer& timer : timers) {
    const std::int64_t left = std::max<std::int64_t>(timer.due - now, 0);
    result = std::min(result, (left + nanosecondsPerMillisecond - 1) / nanosecondsPerMillisecond);
  }
  const bool unlimited = milliseconds < 0 && timers.empty();
  return unlimited ? -1 : static_cast<int>(std::min<std::int64_t>(result, INT_MAX));
}

bool RunLoop::Private::wait(int milliseconds)
{
  polled.clear();
  polled.push_back({wakeDescriptor, POLLIN, 0});
  for (const EventSource* source : sources)
    polled.push_back({source->descriptor(), POLLIN, 0});
  const int ready = poll(polled.data(), polled.size(), milliseconds);
  if (ready < 0)
    polled.clear();
  return ready > 0 && takeWakeUp();
}

bool RunLoop::runOnce(std::int64_t milliseconds)
{
  const bool woken = own_->wait(quitRequested() ? 0 : own_->waitMilliseconds(milliseconds));
  const bool dispatched = own_->dispatchSources();
  const bool fired = own_->fireTimers();
  return woken || dispatched || fired;
}

void RunLoop::run(const std::function<void()>& afterEach)
{
  while (!quitRequested()) {
    runOnce(forever);
    afterEach();
  }
}

} // namespace orbi::platform
