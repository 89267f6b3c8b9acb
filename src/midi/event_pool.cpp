#include "midi/event_pool.h"

#include <cstdlib>
#include <utility>

namespace orbi {

PEventPool PEventPool::instance_;

PEventPool::~PEventPool()
{
  Block* block = head_.exchange(nullptr);
  while (block)
    std::free(std::exchange(block, block->next));
  count_.store(capacity); // what is released from here on goes to the heap
}

void* PEventPool::allocate()
{
  if (head_.load(std::memory_order_relaxed)) {
    FGuard guard(lock_);
    if (Block* block = head_.load(std::memory_order_relaxed)) {
      head_.store(block->next, std::memory_order_relaxed);
      count_.store(count_.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
      return block;
    }
  }
  return std::malloc(blockBytes);
}

void PEventPool::release(void* block)
{
  if (!block)
    return;
  if (count_.load(std::memory_order_relaxed) < capacity) {
    FGuard guard(lock_);
    uint32_t count = count_.load(std::memory_order_relaxed);
    if (count < capacity) {
      auto* entry = static_cast<Block*>(block);
      entry->next = head_.load(std::memory_order_relaxed);
      head_.store(entry, std::memory_order_relaxed);
      count_.store(count + 1, std::memory_order_relaxed);
      return;
    }
  }
  std::free(block);
}

void PEventPool::prepare(uint32_t blocks)
{
  while (freeBlocks() < blocks && freeBlocks() < capacity) {
    void* block = std::malloc(blockBytes);
    if (!block)
      return;
    release(block);
  }
}

} // namespace orbi
