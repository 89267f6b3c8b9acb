#include "foundation/barrier.h"
#include "foundation/messenger.h"
#include "foundation/object_thread.h"
#include "foundation/process.h"
#include "foundation/read_write_lock.h"
#include "foundation/signal.h"
#include "foundation/thread.h"
#include "foundation/thread_snapshot.h"
#include "shared/crowd.h"

#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <sys/resource.h>

using namespace orbi;

namespace {

/// A thread with a given body, joined at its end.
class TestThread final : public FThreadBase {
public:
  explicit TestThread(std::function<void(TestThread&)> body) : body_(std::move(body)) {}
  ~TestThread() override { join(60'000); }
  uint32_t run() override
  {
    body_(*this);
    return 7;
  }

private:
  std::function<void(TestThread&)> body_;
};

} // namespace

TEST(ThreadBase, steps_and_processors_outside_of_the_range_are_kept_but_refused)
{
  FSignal go;
  TestThread thread([&](TestThread&) { go.wait(); });
  EXPECT_TRUE(thread.setPriority(6)); // nothing to apply it to
  EXPECT_FALSE(thread.setProcessor(FThreadBase::anyProcessor));
  EXPECT_TRUE(thread.join(0));
  ASSERT_TRUE(thread.start("odd"));
  EXPECT_FALSE(thread.start("again"));
  EXPECT_FALSE(thread.setPriority(6));
  EXPECT_FALSE(thread.setPriority(-1));
  EXPECT_EQ(thread.priority(), -1);
  EXPECT_TRUE(thread.setPriority(0));
  EXPECT_FALSE(thread.setProcessor(-2));
  EXPECT_TRUE(thread.setProcessor(-1));
  int usable = 0;
  while ((platform::processAffinity() >> usable & 1) == 0)
    ++usable;
  EXPECT_TRUE(thread.setProcessor(usable + 64)); // the number counts modulo 64
  EXPECT_EQ(thread.processor(), usable + 64);
  EXPECT_FALSE(thread.join(1));
  go.set();
  EXPECT_TRUE(thread.join(60'000));
  EXPECT_EQ(thread.threadId(), 0u);
  EXPECT_STREQ(thread.getName(), "odd");
}

TEST(ThreadBase, body_finds_its_own_thread_in_place)
{
  for (int round = 0; round < 100; ++round) {
    TestThread thread([](TestThread& self) {
      EXPECT_EQ(self.threadId(), platform::currentThreadId());
      EXPECT_TRUE(self.setPriority(1));
      EXPECT_FALSE(self.join(0));
    });
    ASSERT_TRUE(thread.start("self"));
    EXPECT_TRUE(thread.join(60'000));
    EXPECT_EQ(thread.exitValue(), 7u);
  }
}

TEST(ThreadBase, real_time_is_taken_back_only_where_it_was_granted)
{
  TestThread thread([](TestThread& self) {
    EXPECT_FALSE(self.setRealtime(false, false));
    const bool granted = self.setRealtime(true, true);
    EXPECT_EQ(self.setRealtime(true, false), granted);
    EXPECT_EQ(self.setRealtime(false, false), granted);
    EXPECT_FALSE(self.setRealtime(false, false));
  });
  ASSERT_TRUE(thread.start("audio"));
}

TEST(ThreadBase, thread_that_was_let_go_of_ends_by_itself)
{
  FSignal go;
  FSignal done;
  TestThread thread([&](TestThread&) {
    go.wait();
    done.set();
  });
  ASSERT_TRUE(thread.start("slow"));
  EXPECT_FALSE(thread.join(1));
  thread.kill();
  EXPECT_TRUE(thread.join(0));
  go.set();
  done.wait();
}

TEST(ThreadSnapshot, finds_exactly_the_threads_started_since)
{
  Crowd(1, [] {}); // a sanitizer starts a thread of its own with the first one
  FSignal go;
  FThreadSnapshot snapshot;
  TestThread thread([&](TestThread&) { go.wait(); });
  EXPECT_EQ(snapshot.compare(), 0);
  ASSERT_TRUE(thread.start("driver"));
  EXPECT_EQ(snapshot.compare(), 1);
  EXPECT_EQ(snapshot.getThread(0), thread.threadId());
  EXPECT_EQ(snapshot.getThread(1), 0u);
  EXPECT_EQ(snapshot.getThread(-1), 0u);
  EXPECT_TRUE(applyThreadPriority(snapshot.getThread(0), 1));
  EXPECT_FALSE(applyThreadPriority(snapshot.getThread(0), 6));
  go.set();
}

TEST(Process, high_class_puts_the_step_above_normal_where_the_process_is)
{
  FSignal go;
  TestThread thread([&](TestThread&) { go.wait(); });
  ASSERT_TRUE(thread.start("step"));
  const int base = getpriority(PRIO_PROCESS, thread.threadId());
  if (setHighPriorityClass(true)) { // else the right is missing
    EXPECT_TRUE(thread.setPriority(3));
    EXPECT_EQ(getpriority(PRIO_PROCESS, thread.threadId()), base - 5);
    EXPECT_TRUE(setHighPriorityClass(false));
  }
  EXPECT_EQ(platform::processPriority(), platform::ProcessPriority::normal);
  EXPECT_EQ(getpriority(PRIO_PROCESS, thread.threadId()), base);
  go.set();
}

TEST(ReadWriteLock, writers_are_alone_and_readers_see_whole_writes)
{
  FReadWriteLock lock;
  int first = 0;
  int second = 0;
  Crowd crowd(4, [&] {
    for (int i = 0; i < 500; ++i) {
      if (i % 4 == 0) {
        FWriteGuard outer(lock);
        FWriteGuard inner(lock);
        FReadGuard reading(lock);
        ++first;
        ++second;
      } else {
        FReadGuard outer(lock);
        FReadGuard inner(lock);
        EXPECT_EQ(first, second);
      }
    }
  });
  crowd.join();
  EXPECT_EQ(first, 4 * 125);
}

TEST(ReadWriteLock, readers_are_inside_together_and_also_while_a_writer_waits)
{
  FReadWriteLock lock;
  FBarrier bothInside{2};
  std::atomic<bool> written{false};
  lock.enterRead();
  TestThread writer([&](TestThread&) {
    FWriteGuard guard(lock);
    written = true;
  });
  ASSERT_TRUE(writer.start("writer"));
  Crowd crowd(2, [&] {
    FReadGuard guard(lock);
    bothInside.arrive();
  });
  crowd.join();
  EXPECT_FALSE(written);
  lock.leaveRead();
  EXPECT_TRUE(writer.join(60'000));
  EXPECT_TRUE(written);
}

TEST(Barrier, nobody_is_a_round_ahead_though_it_is_used_again_at_once)
{
  constexpr int threads = 3;
  FBarrier barrier{threads};
  std::atomic<int> arrivals{0};
  Crowd crowd(threads, [&] {
    for (int round = 1; round <= 300; ++round) {
      arrivals.fetch_add(1);
      barrier.arrive();
      EXPECT_GE(arrivals.load(), round * threads);
      EXPECT_LT(arrivals.load(), (round + 1) * threads);
    }
  });
  FBarrier(1).arrive();
}

// Threads of objects

namespace {

class Listener final : public CmClass<Listener, CmObject> {
public:
  static constexpr const char* className = "Listener";

  explicit Listener(bool* gone) : gone_(gone) {}
  ~Listener() override
  {
    FMessenger::instance()->remove(this);
    *gone_ = true;
  }
  int32_t handleMessage(FMessage& message) override
  {
    if (message.isMessage("threadEntry")) {
      entryThread = platform::currentThreadId();
      entryId = message.getInt("id");
      entered.set();
      go.wait();
      return 1;
    }
    finishedThread = platform::currentThreadId();
    finishedId = message.getInt("id");
    return 1;
  }

  FSignal entered;
  FSignal go;
  platform::ThreadId entryThread = 0;
  platform::ThreadId finishedThread = 0;
  int64_t entryId = 0;
  int64_t finishedId = 0;

private:
  bool* gone_;
};

class ObjectThread : public testing::Test {
protected:
  /// Dispatches until the thread has posted its end.
  void dispatchUntilPosted()
  {
    while (!messenger.isPending(nullptr))
      platform::ThreadHandle::start("pass time", [] {}).join();
    messenger.dispatch();
  }

  FMessenger messenger;
  bool gone = false;
};

} // namespace

TEST_F(ObjectThread, object_works_on_the_thread_and_hears_of_the_end_on_the_main_thread)
{
  auto listener = make<Listener>(&gone);
  new FThread(listener.get(), "job", 7, false);
  listener->entered.wait();
  EXPECT_NE(listener->entryThread, platform::currentThreadId());
  EXPECT_EQ(listener->entryId, 7);
  listener->go.set();
  dispatchUntilPosted();
  EXPECT_EQ(listener->finishedThread, platform::currentThreadId());
  EXPECT_EQ(listener->finishedId, 7);
}

TEST_F(ObjectThread, thread_keeps_its_object_alive_and_tells_nobody_when_it_was_the_last_owner)
{
  auto* listener = new Listener(&gone);
  auto thread = Ref<FThread>::adopt(new FThread(listener, "job", 1, true));
  EXPECT_STREQ(thread->getName(), "job");
  const auto kept = thread; // the thread releases one of the two references
  ASSERT_TRUE(thread->start(thread->getName()));
  thread.detach();
  listener->entered.wait();
  listener->releaseRef();
  EXPECT_FALSE(gone);
  listener->go.set();
  EXPECT_TRUE(kept->join(60'000));
  EXPECT_TRUE(gone);
  EXPECT_FALSE(messenger.isPending(nullptr));
}
