#include "foundation/text_buffer_pool.h"

#include <bit>
#include <new>
#include <utility>

namespace orbi {

static_assert(TextBufferPool::smallest << 6 == TextBufferPool::largest);

PoolBuffer& PoolBuffer::operator=(PoolBuffer&& other) noexcept
{
  PoolBuffer old;
  swap(old);
  swap(other);
  return *this;
}

PoolBuffer::~PoolBuffer()
{
  if (data_)
    pool_->giveBack(data_, capacity_);
}

void PoolBuffer::swap(PoolBuffer& other) noexcept
{
  std::swap(pool_, other.pool_);
  std::swap(data_, other.data_);
  std::swap(capacity_, other.capacity_);
}

TextBufferPool::~TextBufferPool()
{
  for (Shelf& shelf : shelves_)
    while (shelf.count > 0)
      delete[] shelf.blocks[--shelf.count];
}

PoolBuffer TextBufferPool::take(size_t bytes)
{
  size_t capacity = bytes > largest ? bytes : std::bit_ceil(bytes < smallest ? smallest : bytes);
  if (Shelf* shelf = shelfOf(capacity)) {
    FGuard guard(lock_);
    if (shelf->count > 0)
      return {this, shelf->blocks[--shelf->count], capacity};
  }
  return {this, new (std::nothrow) uint8_t[capacity], capacity};
}

void TextBufferPool::giveBack(uint8_t* data, size_t capacity)
{
  if (Shelf* shelf = shelfOf(capacity)) {
    FGuard guard(lock_);
    if (shelf->count < keptBytes / capacity) {
      shelf->blocks[shelf->count++] = data;
      return;
    }
  }
  delete[] data;
}

size_t TextBufferPool::bytesHeld() const
{
  FGuard guard(lock_);
  size_t held = 0;
  for (size_t i = 0; i < sizes; ++i)
    held += shelves_[i].count * (smallest << i);
  return held;
}

TextBufferPool::Shelf* TextBufferPool::shelfOf(size_t capacity)
{
  if (capacity > largest)
    return nullptr;
  return &shelves_[static_cast<size_t>(std::countr_zero(capacity) - std::countr_zero(smallest))];
}

} // namespace orbi
