#pragma once

#include <atomic>
#include <cstdint>

/// The kernel's wait queue behind Event and Semaphore.
namespace orbi::platform::futex {

constexpr std::int64_t noDeadline = -1;

std::int64_t deadlineAfter(std::uint32_t milliseconds); ///< nanoseconds of the steady clock

/// Sleeps while `word` holds `expected`; may wake for no reason. False when the deadline has
/// passed.
bool wait(std::atomic<std::uint32_t>& word, std::uint32_t expected, std::int64_t deadline);

/// Never reads the word, so a thread let through may already have destroyed it.
void wake(std::atomic<std::uint32_t>& word, int threads);

} // namespace orbi::platform::futex
