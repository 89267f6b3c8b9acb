#pragma once

#include <atomic>
#include <cstdint>

namespace orbi {

/// Holds threads until a fixed number of them has arrived, then lets them all go. Can be used again
/// at once: a quick thread that comes back early waits for the next round.
class FBarrier {
public:
  explicit FBarrier(uint32_t target) : target_(target) {}

  void arrive();

private:
  const uint32_t target_;
  std::atomic<uint32_t> arrived_{0};
  std::atomic<uint32_t> round_{0};
};

inline void FBarrier::arrive()
{
  // The round can't end between these two lines, since this thread's arrival is still missing.
  const uint32_t round = round_.load(std::memory_order_acquire);
  if (arrived_.fetch_add(1, std::memory_order_acq_rel) + 1 < target_) {
    round_.wait(round, std::memory_order_acquire);
    return;
  }
  arrived_.store(0, std::memory_order_relaxed); // seen by all who see the new round
  round_.fetch_add(1, std::memory_order_release);
  round_.notify_all();
}

} // namespace orbi
