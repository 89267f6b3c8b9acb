#pragma once

#include <cstddef>

namespace orbi {

/// Memory for the few small objects that each block of audio touches, side by side in neighbouring
/// pages. After the milliseconds between two blocks, finding a page again costs more than the work
/// that is done there. What doesn't fit comes from the heap. Main thread; release on any thread.
class RealtimeMemory {
public:
  static void* allocate(size_t bytes);
  static void release(void* memory) noexcept;
};

/// A base for the classes of such objects.
class RealtimeObject {
public:
  static void* operator new(size_t bytes) { return RealtimeMemory::allocate(bytes); }
  static void* operator new(size_t, void* place) noexcept { return place; }
  static void operator delete(void* memory) noexcept { RealtimeMemory::release(memory); }

protected:
  ~RealtimeObject() = default;
};

/// The same for the elements of their containers.
template <class T>
struct RealtimeAllocator {
  using value_type = T;
  RealtimeAllocator() = default;
  template <class Other>
  RealtimeAllocator(const RealtimeAllocator<Other>&)
  {
  }
  T* allocate(size_t count) { return static_cast<T*>(RealtimeMemory::allocate(count * sizeof(T))); }
  void deallocate(T* memory, size_t) { RealtimeMemory::release(memory); }
  bool operator==(const RealtimeAllocator&) const = default;
};

} // namespace orbi
