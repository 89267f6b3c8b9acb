#pragma once

#include <atomic>
#include <cstdint>

namespace orbi::platform {

enum class EventReset {
  automatic, ///< a release lets one waiting thread through and is used up by it
  manual,    ///< stays signalled, for everybody, until reset
};

/// Lets threads wait for a moment. `set`, `reset` and `pulse` take no lock and never block, so the
/// audio thread may call them; what the caller wrote before is seen by those it releases.
/// At most 2047 threads wait at a time.
class Event {
public:
  explicit Event(EventReset reset, bool signalled = false);
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  void set();
  void reset(); ///< a thread that was released already still goes through
  void
  pulse(); ///< releases who waits now (automatic: one of them) and leaves the event unsignalled

  void wait();
  bool wait(std::uint32_t milliseconds); ///< false on time-out

private:
  bool tryEnter(std::uint64_t& entered);
  bool letsThrough(std::uint64_t word, std::uint64_t entered) const;
  bool tryTake(std::uint64_t entered);
  bool waitUntil(std::int64_t deadline);
  bool giveUp(std::uint64_t entered);
  bool sleep(std::uint64_t word, std::int64_t deadline);
  void wakeAll();
  void release(bool staysSignalled);

  const bool manual_;
  // Signalled bit, waiting threads and releases in one word, see the implementation.
  std::atomic<std::uint64_t> word_;
};

} // namespace orbi::platform
