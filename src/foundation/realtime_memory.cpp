#include "foundation/realtime_memory.h"

#include "platform/realtime_layout.h"

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
constexpr size_t alignment = 64;
constexpr size_t smallBytes = 512; // larger objects have what each block touches in front

// Small ones fill the beginning of the first page, so that the front of the first large one lies in
// that page, too.
constexpr size_t smallRoom = 2048;

ORBI_REALTIME_ROOM alignas(alignment) unsigned char room[std::max(roomBytes, pageBytes)];
std::mutex mutex;
size_t usedSmall = 0;
size_t usedLarge = smallRoom;
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
    const bool isSmall = whole <= smallBytes && usedSmall + whole <= smallRoom;
    size_t& used = isSmall ? usedSmall : usedLarge;
    const size_t end = isSmall ? smallRoom : roomBytes;
    if (whole >= bytes && whole <= roomBytes && used + whole <= end) {
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
  if (--living == 0) {
    usedSmall = 0;
    usedLarge = smallRoom;
  }
}

} // namespace orbi
