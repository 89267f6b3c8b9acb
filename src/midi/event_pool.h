#pragma once

#include "foundation/lock.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace orbi {

/// Free list of blocks for MIDI events, which are made on the MIDI and audio threads. Starts empty
/// and grows by releases only, up to its capacity.
class PEventPool {
public:
  static constexpr size_t blockBytes = 152;
  static constexpr uint32_t capacity = 2000;

  PEventPool() = default;
  ~PEventPool();

  static PEventPool& instance() { return instance_; }

  void* allocate(); ///< a block of blockBytes; null without memory
  void release(void* block);
  uint32_t freeBlocks() const { return count_.load(std::memory_order_relaxed); }

  /// Fills the free list, so that the first events cost no heap allocation.
  void prepare(uint32_t blocks);

private:
  struct Block {
    Block* next;
  };

  static PEventPool instance_;

  FLock lock_{"PMidiEvent pool"};
  std::atomic<Block*> head_{nullptr}; ///< tested without the lock, changed under it
  std::atomic<uint32_t> count_{0};
};

} // namespace orbi

/// Gives a class the pool's new and delete.
#define ORBI_POOLED(Class)                                                                         \
  static void* operator new(size_t size) noexcept                                                  \
  {                                                                                                \
    static_assert(sizeof(Class) <= ::orbi::PEventPool::blockBytes);                                \
    return size <= ::orbi::PEventPool::blockBytes ? ::orbi::PEventPool::instance().allocate()      \
                                                  : nullptr;                                       \
  }                                                                                                \
  static void operator delete(void* block)                                                         \
  {                                                                                                \
    ::orbi::PEventPool::instance().release(block);                                                 \
  }
