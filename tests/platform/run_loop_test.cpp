#include "platform/run_loop.h"

#include "platform/clock.h"
#include "platform/linux/event_source.h"
#include "platform/message_box.h"
#include "platform/thread.h"

#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace orbi::platform;

namespace {

/// A descriptor with one byte in it for each event.
class PipeSource final : public EventSource {
public:
  PipeSource() { EXPECT_EQ(pipe(ends_), 0); }
  ~PipeSource() override
  {
    close(ends_[0]);
    close(ends_[1]);
  }
  void send() const { EXPECT_EQ(write(ends_[1], "x", 1), 1); }
  int descriptor() const override { return ends_[0]; }
  bool hasPending() override { return pending > 0; }
  void dispatch() override
  {
    char byte = 0;
    if (pending > 0)
      --pending;
    else
      EXPECT_EQ(read(ends_[0], &byte, 1), 1);
    ++dispatched;
  }

  int pending = 0;
  int dispatched = 0;

private:
  int ends_[2] = {};
};

} // namespace

TEST(RunLoop, wake_from_another_thread_ends_a_wait_and_is_never_lost)
{
  RunLoop loop;
  EXPECT_EQ(RunLoop::instance(), &loop);
  EXPECT_FALSE(loop.runOnce(0));
  for (int i = 0; i < 500; ++i) {
    ThreadHandle thread = ThreadHandle::start("waker", [&] { loop.wake(); });
    EXPECT_TRUE(loop.runOnce(RunLoop::forever));
    EXPECT_TRUE(thread.join());
  }
  EXPECT_FALSE(loop.runOnce(0));
}

TEST(RunLoop, timers_come_again_until_removed_also_by_their_own_call)
{
  RunLoop loop;
  int often = 0;
  int once = 0;
  RunLoop::TimerId self = 0;
  const auto timer = loop.addTimer(1, [&] { ++often; });
  self = loop.addTimer(2, [&] {
    ++once;
    loop.removeTimer(self);
    loop.addTimer(1'000'000, [] { FAIL(); });
  });
  while (often < 5 || once < 1)
    EXPECT_TRUE(loop.runOnce(RunLoop::forever));
  EXPECT_EQ(once, 1);
  loop.removeTimer(timer);
  const int before = often;
  EXPECT_FALSE(loop.runOnce(5));
  EXPECT_EQ(often, before);
}

TEST(RunLoop, waiting_costs_no_processor_time)
{
  RunLoop loop;
  int fired = 0;
  loop.addTimer(10, [&] { ++fired; });
  int rounds = 0;
  for (; fired < 5; ++rounds)
    loop.runOnce(RunLoop::forever);
  EXPECT_EQ(rounds, 5);
}

TEST(RunLoop, signal_to_end_quits_the_loop_and_goes_to_its_former_owner_afterwards)
{
  static volatile sig_atomic_t outside;
  outside = 0;
  const auto former = signal(SIGTERM, [](int) { outside = 1; });
  for (int number : {SIGINT, SIGTERM}) {
    RunLoop loop;
    int rounds = 0;
    loop.addTimer(1, [=] { raise(number); });
    loop.run([&] { ++rounds; });
    EXPECT_EQ(rounds, 1);
    EXPECT_TRUE(loop.quitRequested());
    EXPECT_TRUE(loop.runOnce(RunLoop::forever) || loop.quitRequested());
  }
  EXPECT_EQ(outside, 0);
  raise(SIGTERM);
  EXPECT_EQ(outside, 1);
  signal(SIGTERM, former);
}

TEST(RunLoop, source_is_dispatched_when_readable_or_pending_and_never_after_removal)
{
  RunLoop loop;
  PipeSource source;
  loop.addSource(source);
  EXPECT_FALSE(loop.runOnce(0));
  source.send();
  EXPECT_TRUE(loop.runOnce(RunLoop::forever));
  source.pending = 1;
  EXPECT_TRUE(loop.runOnce(RunLoop::forever));
  EXPECT_EQ(source.dispatched, 2);
  source.send();
  loop.removeSource(source);
  EXPECT_FALSE(loop.runOnce(0));
  EXPECT_EQ(source.dispatched, 2);
}

TEST(MessageBox, message_is_one_line_without_control_characters)
{
  StandardErrorMessages messages;
  testing::internal::CaptureStderr();
  messages.show("Title", "two\r\nlines\tand \x1b[31m colour\n");
  messages.show("", "plain");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Title: two lines and [31m colour\nplain\n");
}

TEST(Clock, processor_time_grows_with_work)
{
  const std::int64_t before = processCpuNanoseconds();
  const std::int64_t steady = steadyNanoseconds();
  volatile int sink = 0;
  while (processCpuNanoseconds() == before)
    sink = sink + 1;
  EXPECT_GT(processCpuNanoseconds(), before);
  EXPECT_GE(steadyNanoseconds(), steady);
}
