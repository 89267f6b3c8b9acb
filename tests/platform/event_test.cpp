#include "platform/event.h"
#include "platform/lock.h"
#include "platform/semaphore.h"
#include "platform/thread.h"
#include "shared/crowd.h"

#include <atomic>
#include <gtest/gtest.h>

using namespace orbi::platform;

TEST(Event, automatic_event_lets_one_wait_through_for_one_set)
{
  Event event{EventReset::automatic};
  event.set();
  event.set();
  EXPECT_TRUE(event.wait(0));
  EXPECT_FALSE(event.wait(1));
  event.set();
  event.reset();
  EXPECT_FALSE(event.wait(0));
}

TEST(Event, manual_event_stays_until_it_is_reset)
{
  Event event{EventReset::manual, true};
  EXPECT_TRUE(event.wait(0));
  event.wait();
  event.reset();
  EXPECT_FALSE(event.wait(1));
}

TEST(Event, pulse_leaves_the_event_unsignalled_and_does_nothing_when_nobody_waits)
{
  for (EventReset kind : {EventReset::automatic, EventReset::manual}) {
    Event event{kind, true};
    event.pulse();
    EXPECT_FALSE(event.wait(0));
  }
}

TEST(Event, manual_pulse_and_set_with_reset_release_all_that_wait)
{
  for (int round = 0; round < 50; ++round) {
    Event event{EventReset::manual};
    std::atomic<int> released{0};
    std::atomic<int> waiting{4};
    Crowd crowd(4, [&] {
      // A time-out that has passed before the pulse takes the thread round again, never through.
      while (!event.wait(round % 2 == 0 ? 1 : 10'000)) {}
      released.fetch_add(1);
      waiting.fetch_sub(1);
    });
    while (waiting.load() > 0) {
      if (round % 4 < 2) {
        event.pulse();
      } else {
        event.set();
        event.reset();
      }
    }
    crowd.join();
    EXPECT_EQ(released.load(), 4);
    EXPECT_FALSE(event.wait(0));
  }
}

TEST(Event, automatic_release_goes_to_who_waited_before_and_not_to_who_comes_after)
{
  for (int round = 0; round < 200; ++round) {
    Event event{EventReset::automatic};
    std::atomic<bool> through{false};
    ThreadHandle waiting = ThreadHandle::start("waiting", [&] {
      event.wait();
      through.store(true);
    });
    bool stolen = false;
    while (!through.load() && !stolen) {
      event.pulse();
      stolen = event.wait(0);
    }
    EXPECT_FALSE(stolen);
    event.set();
    waiting.join();
  }
}

TEST(Event, no_wake_up_is_lost_between_two_threads_that_take_turns)
{
  Event ping{EventReset::automatic};
  Event pong{EventReset::automatic};
  constexpr int turns = 20'000;
  int shared = 0; // handed over by the events alone, which ThreadSanitizer checks
  ThreadHandle other = ThreadHandle::start("pong", [&] {
    for (int i = 0; i < turns; ++i) {
      ping.wait();
      ++shared;
      pong.set();
    }
  });
  for (int i = 0; i < turns; ++i) {
    ++shared;
    ping.set();
    pong.wait();
  }
  EXPECT_TRUE(other.join());
  EXPECT_EQ(shared, 2 * turns);
}

TEST(Event, every_automatic_release_is_taken_once_though_waits_time_out)
{
  Event event{EventReset::automatic};
  std::atomic<int> taken{0};
  std::atomic<bool> done{false};
  Crowd crowd(3, [&] {
    while (!done.load())
      if (event.wait(0) || event.wait(1))
        taken.fetch_add(1);
  });
  for (int i = 1; i <= 2000; ++i) {
    event.set();
    while (taken.load() < i) {}
    ASSERT_EQ(taken.load(), i);
  }
  done.store(true);
}

TEST(Lock, is_recursive_and_keeps_others_out)
{
  RecursiveLock lock;
  int counter = 0;
  lock.enter();
  EXPECT_TRUE(lock.tryEnter());
  lock.leave();
  {
    Crowd crowd(3, [&] { EXPECT_FALSE(lock.tryEnter()); });
  }
  lock.leave();
  {
    Crowd crowd(4, [&] {
      for (int i = 0; i < 5000; ++i) {
        lock.enter();
        lock.enter();
        ++counter;
        lock.leave();
        lock.leave();
      }
    });
  }
  EXPECT_EQ(counter, 20'000);
}

TEST(Semaphore, counts_and_refuses_to_overflow)
{
  Semaphore semaphore{1};
  EXPECT_EQ(semaphore.release(2), 1);
  for (int i = 0; i < 3; ++i)
    EXPECT_TRUE(semaphore.wait(0));
  EXPECT_FALSE(semaphore.wait(1));
  EXPECT_EQ(semaphore.release(Semaphore::maximum), 0);
  EXPECT_EQ(semaphore.release(1), -1);
  EXPECT_TRUE(semaphore.wait(0));
}

TEST(Semaphore, each_pass_goes_to_one_thread)
{
  Semaphore semaphore{0};
  std::atomic<int> passed{0};
  Crowd crowd(4, [&] {
    for (int i = 0; i < 2500; ++i) {
      semaphore.wait();
      passed.fetch_add(1);
    }
  });
  for (int i = 0; i < 5000; ++i)
    semaphore.release(2);
  crowd.join();
  EXPECT_EQ(passed.load(), 10'000);
  EXPECT_FALSE(semaphore.wait(0));
}
