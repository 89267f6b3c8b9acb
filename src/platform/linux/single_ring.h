#pragma once

#include <array>
#include <atomic>
#include <cstddef>

namespace orbi::platform {

/// A queue from one thread to one other, without a lock. `Size` is a power of two.
template <typename T, std::size_t Size>
class SingleRing {
  static_assert(Size > 1 && (Size & (Size - 1)) == 0);

public:
  bool full() const ///< the writer
  {
    return end_.load(std::memory_order_relaxed) - begin_.load(std::memory_order_acquire) == Size;
  }
  bool push(const T& value) ///< the writer; false when it is full
  {
    if (full())
      return false;
    const std::size_t end = end_.load(std::memory_order_relaxed);
    values_[end % Size] = value;
    end_.store(end + 1, std::memory_order_release);
    return true;
  }

  bool empty() const ///< any thread; what the writer writes meanwhile may be missed
  {
    return begin_.load(std::memory_order_acquire) == end_.load(std::memory_order_acquire);
  }

  const T* front() const ///< the reader; null when it is empty
  {
    const std::size_t begin = begin_.load(std::memory_order_relaxed);
    return begin == end_.load(std::memory_order_acquire) ? nullptr : &values_[begin % Size];
  }
  void pop() ///< the reader, after a front that wasn't null
  {
    begin_.store(begin_.load(std::memory_order_relaxed) + 1, std::memory_order_release);
  }

private:
  std::array<T, Size> values_{};
  alignas(64) std::atomic<std::size_t> begin_{0};
  alignas(64) std::atomic<std::size_t> end_{0};
};

} // namespace orbi::platform
