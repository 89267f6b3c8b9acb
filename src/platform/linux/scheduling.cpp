#include "platform/linux/scheduling.h"

#include "platform/linux/realtime_kit.h"
#include "platform/realtime.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace orbi::platform {

namespace scheduling {

static int policyOf(pid_t thread) // the flag included, negative on failure
{
  return sched_getscheduler(thread);
}

static bool isRealtimePolicy(int policy)
{
  const int kind = policy & ~SCHED_RESET_ON_FORK;
  return policy >= 0 && (kind == SCHED_FIFO || kind == SCHED_RR);
}

static bool setPolicy(pid_t thread, int policy, int priority)
{
  sched_param parameters{};
  parameters.sched_priority = priority;
  if (sched_setscheduler(thread, policy, &parameters) == 0)
    return true;
  // Whoever has the flag set can't drop it without privilege.
  return sched_setscheduler(thread, policy | SCHED_RESET_ON_FORK, &parameters) == 0;
}

static int highestAllowedPriority()
{
  rlimit limit{};
  if (getrlimit(RLIMIT_RTPRIO, &limit) != 0)
    return 0;
  return static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 99));
}

bool isRealtime(pid_t thread)
{
  return isRealtimePolicy(policyOf(thread));
}

int realtimePriority(pid_t thread)
{
  sched_param parameters{};
  return sched_getparam(thread, &parameters) == 0 ? parameters.sched_priority : 0;
}

bool makeRealtime(pid_t thread, int priority)
{
  constexpr int policy = SCHED_FIFO | SCHED_RESET_ON_FORK;
  const int allowed = std::min(priority, highestAllowedPriority());
  if (setPolicy(thread, policy, priority) || (allowed > 0 && setPolicy(thread, policy, allowed)))
    return isRealtime(thread);
  return realtime_kit::makeRealtime(thread, priority) && isRealtime(thread);
}

bool makeOrdinary(pid_t thread, int nice)
{
  if (isRealtime(thread) && !setPolicy(thread, SCHED_OTHER, 0))
    return false;
  const auto who = static_cast<id_t>(thread);
  errno = 0;
  if (getpriority(PRIO_PROCESS, who) == nice && errno == 0)
    return true;
  return setpriority(PRIO_PROCESS, who, nice) == 0;
}

} // namespace scheduling

// Priority classes of the process

namespace {

constexpr int highClassNice = -5; // relative to the nice value the program was started with

std::atomic<ProcessPriority> processClass{ProcessPriority::normal};

} // namespace

static int niceOf(pid_t thread)
{
  return getpriority(PRIO_PROCESS, static_cast<id_t>(thread));
}

static int startNice()
{
  static const int nice = niceOf(getpid());
  return nice;
}

static int classNice(ProcessPriority priority)
{
  return priority == ProcessPriority::high ? highClassNice : 0;
}

/// All of them or, as far as the system lets them go back, none.
static bool shiftNice(std::span<const ThreadId> threads, int by)
{
  std::vector<std::pair<ThreadId, int>> moved; // with the value before
  for (ThreadId thread : threads) {
    const auto id = static_cast<pid_t>(thread);
    errno = 0;
    const int nice = niceOf(id);
    if (errno == ESRCH)
      continue; // ended meanwhile
    if (setpriority(PRIO_PROCESS, thread, std::clamp(nice + by, -20, 19)) == 0) {
      moved.emplace_back(thread, nice);
    } else if (errno != ESRCH) {
      for (const auto& [former, value] : moved)
        setpriority(PRIO_PROCESS, former, value);
      return false;
    }
  }
  return true;
}

bool setProcessPriority(ProcessPriority priority)
{
  startNice();
  const ProcessPriority former = processClass.load();
  if (former == priority)
    return true;
  std::vector<ThreadId> threads(4096);
  threads.resize(listThreadIds(threads));
  const int by = classNice(priority) - classNice(former);
  // The kernel knows no such class, so each thread moves by the difference. Where the right is
  // missing, the first of them tells.
  if (!shiftNice(threads, by))
    return false;
  processClass.store(priority);
  return true;
}

ProcessPriority processPriority()
{
  return processClass.load();
}

bool setProcessPriorityBoost(bool)
{
  return false;
}

// Priorities of a thread

namespace {

struct PriorityStep {
  int realtimePriority; // 0: time sharing alone
  int nice;             // in its place, and relative to the process
};

constexpr PriorityStep prioritySteps[] = {
    {0, 19},   // idle
    {0, 10},   // lowest
    {0, 5},    // belowNormal
    {0, 0},    // normal
    {2, -5},   // aboveNormal
    {4, -10},  // highest
    {10, -15}, // timeCritical
};

} // namespace

bool setThreadPriority(ThreadId thread, ThreadPriority priority, bool keepsHigher)
{
  const PriorityStep step = prioritySteps[static_cast<int>(priority)];
  const auto id = static_cast<pid_t>(thread);
  if (thread == 0)
    return false;
  if (step.realtimePriority > 0 && keepsHigher && scheduling::isRealtime(id) &&
      scheduling::realtimePriority(id) >= step.realtimePriority)
    return true;
  if (step.realtimePriority > 0 && scheduling::makeRealtime(id, step.realtimePriority))
    return true;
  const int nice = startNice() + classNice(processPriority()) + step.nice;
  return scheduling::makeOrdinary(id, std::clamp(nice, -20, 19));
}

// The class for audio

// Above every step of the priorities, and within what RealtimeKit grants.
constexpr int highLevelPriority = 15;
constexpr int criticalLevelPriority = 19;

bool RealtimeClass::enter(Level level)
{
  leave();
  const pid_t self = gettid();
  const int priority = level == Level::critical ? criticalLevelPriority : highLevelPriority;
  formerPolicy_ = scheduling::policyOf(self);
  formerPriority_ = scheduling::realtimePriority(self);
  const bool isThere = scheduling::isRealtime(self) && formerPriority_ >= priority;
  entered_ = isThere || scheduling::makeRealtime(self, priority);
  return entered_;
}

bool RealtimeClass::leave()
{
  if (!entered_)
    return false;
  entered_ = false;
  return scheduling::setPolicy(gettid(), formerPolicy_, formerPriority_);
}

} // namespace orbi::platform
