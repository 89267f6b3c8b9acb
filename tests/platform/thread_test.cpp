#include "platform/thread.h"

#include "platform/event.h"
#include "platform/realtime.h"

#include <algorithm>
#include <gtest/gtest.h>

#include <chrono>
#include <sched.h>
#include <sys/resource.h>
#include <thread>
#include <vector>

using namespace orbi::platform;

namespace {

/// A thread that waits to be let go, for looking at it from outside.
class WaitingThread {
public:
  explicit WaitingThread(ThreadPriority priority = ThreadPriority::normal)
      : thread(ThreadHandle::start(
            "waiting for a test", [this] { go.wait(); }, priority))
  {
  }
  ~WaitingThread() { end(); }
  void end()
  {
    go.set();
    thread.join();
  }

  Event go{EventReset::manual};
  ThreadHandle thread;
};

bool runsRealtime(ThreadId thread)
{
  const int policy = sched_getscheduler(static_cast<pid_t>(thread)) & ~SCHED_RESET_ON_FORK;
  return policy == SCHED_FIFO || policy == SCHED_RR;
}

int niceOf(ThreadId thread)
{
  return getpriority(PRIO_PROCESS, thread);
}

std::vector<ThreadId> threadsNow()
{
  std::vector<ThreadId> ids(256);
  ids.resize(listThreadIds(ids));
  return ids;
}

bool contains(const std::vector<ThreadId>& ids, ThreadId id)
{
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

} // namespace

TEST(Thread, abandoned_thread_goes_on_by_itself)
{
  auto finished = std::make_shared<Event>(EventReset::manual);
  auto go = std::make_shared<Event>(EventReset::manual);
  ThreadHandle::start("abandoned", [=] {
    go->wait();
    finished->set();
  });
  go->set();
  EXPECT_TRUE(finished->wait(60'000));
  EXPECT_FALSE(ThreadHandle().join(0));
}

TEST(Thread, is_listed_under_its_id_for_as_long_as_it_runs)
{
  WaitingThread waiting;
  const ThreadId id = waiting.thread.id();
  EXPECT_TRUE(contains(threadsNow(), id));
  EXPECT_TRUE(contains(threadsNow(), currentThreadId()));
  EXPECT_NE(id, currentThreadId());
  EXPECT_FALSE(waiting.thread.isCurrent());
  waiting.end();
  // The system takes an ended thread from its list a moment after others may know of its end.
  for (int i = 0; i < 2000 && contains(threadsNow(), id); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_FALSE(contains(threadsNow(), id));
  ThreadId one[1] = {};
  EXPECT_EQ(listThreadIds(one), 1u);
}

TEST(Thread, each_step_of_priority_is_what_the_system_tells_afterwards)
{
  WaitingThread waiting;
  const ThreadId id = waiting.thread.id();
  const int base = niceOf(id); // what the tests were started with
  WaitingThread idle{ThreadPriority::idle};
  EXPECT_EQ(niceOf(idle.thread.id()), std::min(base + 19, 19));

  EXPECT_TRUE(setThreadPriority(id, ThreadPriority::belowNormal));
  EXPECT_EQ(niceOf(id), std::min(base + 5, 19));
  // What needs a right is either granted and visible or refused.
  for (ThreadPriority raised : {ThreadPriority::aboveNormal, ThreadPriority::timeCritical}) {
    const bool applied = setThreadPriority(id, raised);
    EXPECT_EQ(applied, runsRealtime(id) || niceOf(id) < base);
  }
  const bool back = setThreadPriority(id, ThreadPriority::normal);
  EXPECT_FALSE(runsRealtime(id));
  EXPECT_EQ(back, niceOf(id) == base);
  EXPECT_FALSE(setThreadPriority(0, ThreadPriority::normal));
}

TEST(Thread, high_priority_class_reaches_threads_that_run_already_or_answers_false)
{
  WaitingThread waiting;
  const ThreadId id = waiting.thread.id();
  const int before = niceOf(id);
  const bool raised = setProcessPriority(ProcessPriority::high);
  EXPECT_EQ(niceOf(id), raised ? before - 5 : before);
  EXPECT_EQ(processPriority(), raised ? ProcessPriority::high : ProcessPriority::normal);
  EXPECT_TRUE(setProcessPriority(ProcessPriority::normal));
  EXPECT_EQ(niceOf(id), before);
}

TEST(Thread, affinity_outside_of_the_process_changes_nothing)
{
  WaitingThread waiting;
  const ThreadId id = waiting.thread.id();
  const std::uint64_t all = processAffinity();
  ASSERT_NE(all, 0u);
  const std::uint64_t one = all & ~(all - 1);
  auto allowed = [&] {
    cpu_set_t processors;
    sched_getaffinity(static_cast<pid_t>(id), sizeof processors, &processors);
    return CPU_COUNT(&processors);
  };
  const int before = allowed();
  EXPECT_FALSE(setThreadAffinity(id, 0));
  EXPECT_FALSE(setThreadAffinity(id, ~all));
  EXPECT_EQ(allowed(), before);
  EXPECT_TRUE(setThreadAffinity(id, one));
  EXPECT_EQ(allowed(), 1);
  EXPECT_TRUE(setThreadAffinity(id, all));
  EXPECT_EQ(allowed(), before);
}

TEST(RealtimeClass, tells_the_truth_and_gives_back_what_it_took)
{
  ThreadHandle thread = ThreadHandle::start("audio", [] {
    RealtimeClass realtime;
    EXPECT_FALSE(realtime.leave());
    for (auto level : {RealtimeClass::Level::critical, RealtimeClass::Level::high}) {
      const bool entered = realtime.enter(level);
      EXPECT_EQ(entered, runsRealtime(currentThreadId()));
      EXPECT_EQ(realtime.entered(), entered);
    }
    const bool entered = realtime.entered();
    EXPECT_EQ(realtime.leave(), entered);
    EXPECT_FALSE(runsRealtime(currentThreadId()));
  });
  EXPECT_TRUE(thread.join());
}
