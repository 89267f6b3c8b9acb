#include "platform/fault_guard.h"
#include "platform/thread.h"
#include "shared/crowd.h"

#include <csignal>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/mman.h>

using namespace orbi::platform;

namespace {

// The sanitizers' own reports would end the program before the signal comes.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

[[gnu::noinline, gnu::no_sanitize("address", "undefined", "thread")]] void writeNowhere()
{
  volatile int* volatile nowhere = reinterpret_cast<volatile int*>(16);
  *nowhere = 1;
}

[[gnu::noinline, gnu::no_sanitize("address", "undefined", "thread")]] void divideByZero()
{
  volatile int divisor = 0;
  volatile int quotient = 7 / divisor;
  static_cast<void>(quotient);
}

volatile bool endless = true;

[[gnu::noinline, gnu::no_sanitize("address", "undefined", "thread")]] int recurse(volatile char* up)
{
  volatile char frame[4096];
  frame[0] = *up;
  return endless ? recurse(frame) + frame[0] : 0;
}

} // namespace

TEST(FaultGuard, answers_false_for_each_kind_of_fault_and_goes_on)
{
  int reached = 0;
  for (int round = 0; round < 100; ++round) {
    EXPECT_FALSE(guarded([] { throw std::runtime_error("plug-in"); }));
    EXPECT_FALSE(guarded([] { throw 1; }));
    EXPECT_FALSE(guarded([] { writeNowhere(); }));
    EXPECT_FALSE(guarded([] { divideByZero(); }));
    EXPECT_FALSE(guarded([] { __builtin_trap(); }));
    EXPECT_FALSE(guarded([] { raise(SIGBUS); }));
    EXPECT_TRUE(guarded([&] { ++reached; }));
  }
  EXPECT_EQ(reached, 100);
}

TEST(FaultGuard, inner_fault_leaves_the_outer_guard_standing)
{
  bool after = false;
  EXPECT_FALSE(guarded([&] {
    EXPECT_FALSE(guarded([] { writeNowhere(); }));
    EXPECT_FALSE(guarded([] { throw 1; }));
    after = true;
    writeNowhere();
  }));
  EXPECT_TRUE(after);
}

TEST(FaultGuard, faults_of_many_threads_at_once_stay_their_own)
{
  Crowd crowd(4, [] {
    for (int round = 0; round < 200; ++round) {
      EXPECT_FALSE(guarded([] { writeNowhere(); }));
      EXPECT_TRUE(guarded([] {}));
    }
  });
}

// Also on threads of a library, which prepare nothing.
TEST(FaultGuard, overflow_of_the_stack_is_caught_and_the_stack_for_that_goes_with_the_thread)
{
  int caught = 0;
  stack_t own{};
  ThreadHandle thread = ThreadHandle::start("overflow", [&] {
    for (int round = 0; round < 3; ++round)
      caught += guarded([] {
        volatile char start = 1;
        recurse(&start);
      })
                    ? 0
                    : 1;
    sigaltstack(nullptr, &own);
  });
  EXPECT_TRUE(thread.join());
  EXPECT_EQ(caught, 3);
  EXPECT_EQ(own.ss_flags & SS_DISABLE, 0);
  if (!sanitized) { // they have stacks of their own, and threads that may take the place
    EXPECT_NE(msync(own.ss_sp, own.ss_size, MS_ASYNC), 0) << "it is mapped yet";
  }
}

TEST(FaultGuardDeathTest, fault_outside_of_a_guard_ends_the_program_as_usual)
{
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_TRUE(guarded([] {}));
  if (sanitized)
    EXPECT_DEATH(writeNowhere(), "SEGV");
  else
    EXPECT_EXIT(writeNowhere(), testing::KilledBySignal(SIGSEGV), "");
}
