#include "foundation/realtime_memory.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <new>

namespace orbi {

namespace {

constexpr size_t pageBytes = 4096;
#ifdef ORBI_SANITIZED
constexpr size_t roomBytes = 0; // each object on its own, where the sanitizer watches it
#else
constexpr size_t roomBytes = 12 * pageBytes; // pages that nobody uses cost nothing
#endif
constexpr size_t alignment = 16;

alignas(pageBytes) unsigned char room[std::max(roomBytes, pageBytes)];
std::mutex mutex;
size_t used = 0;
size_t living = 0; // when the last one goes, the room is free again

bool isInRoom(const void* memory)
{
  return static_cast<size_t>(reinterpret_cast<uintptr_t>(memory) -
                             reinterpret_cast<uintptr_t>(room)) < roomBytes;
}

} // namespace

void* RealtimeMemory::allocate(size_t bytes)
{
  size_t whole = (bytes + alignment - 1) / alignment * alignment;
  {
    std::lock_guard guard(mutex);
    if (whole <= roomBytes && used <= roomBytes - whole && whole >= bytes) {
      void* memory = room + used;
      used += whole;
      ++living;
      return memory;
    }
  }
  return ::operator new(bytes);
}

void RealtimeMemory::release(void* memory) noexcept
{
  if (!isInRoom(memory)) {
    ::operator delete(memory);
    return;
  }
  std::lock_guard guard(mutex);
  if (--living == 0)
    used = 0;
}

} // namespace orbi
