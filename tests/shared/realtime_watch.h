#pragma once

#include <cstddef>

/// While one lives, what its thread does that may take any time is counted: allocations, locks and
/// calls that may wait. Sanitizers have allocators of their own: under them nothing is counted.
class RealtimeWatch {
public:
  RealtimeWatch();
  ~RealtimeWatch();
  RealtimeWatch(const RealtimeWatch&) = delete;
  RealtimeWatch& operator=(const RealtimeWatch&) = delete;

#ifdef ORBI_SANITIZED
  static constexpr bool counts = false;
#else
  static constexpr bool counts = true;
#endif

  struct Counts {
    long allocations = 0;
    long locks = 0;        ///< but for those that are allowed
    long allowedLocks = 0; ///< those
    long waits = 0;        ///< sleeping, waiting for another thread, reading and writing files
    Counts operator-(const Counts& o) const
    {
      return {allocations - o.allocations, locks - o.locks, allowedLocks - o.allowedLocks,
              waits - o.waits};
    }
  };
  static Counts counted(); ///< of this thread since the program began

  /// Locks that lie in this object are allowed on any thread, as long as the allowance lives. At
  /// most four at a time.
  class Allowance {
  public:
    template <class Object>
    explicit Allowance(const Object& object) : Allowance(&object, sizeof object)
    {
    }
    ~Allowance();
    Allowance(const Allowance&) = delete;

  private:
    Allowance(const void* begin, size_t bytes);
    size_t place_;
  };
};
