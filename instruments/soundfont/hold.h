#pragma once

#include <atomic>
#include <thread>

namespace soundfont {

/// Waits for the flag. Not for the audio thread, which holds it for moments and only ever tries.
class Hold {
public:
  explicit Hold(std::atomic_flag& flag) : flag_(flag)
  {
    while (flag_.test_and_set(std::memory_order_acquire))
      std::this_thread::yield();
  }
  ~Hold() { flag_.clear(std::memory_order_release); }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

private:
  std::atomic_flag& flag_;
};

} // namespace soundfont
