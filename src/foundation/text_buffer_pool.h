#pragma once

#include "foundation/lock.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace orbi {

class TextBufferPool;

/// A block of bytes from the pool, which gets it back in the end. Contents are what the last user
/// left; the pool has to outlive it.
class PoolBuffer {
public:
  PoolBuffer() = default;
  PoolBuffer(PoolBuffer&& other) noexcept { swap(other); }
  PoolBuffer& operator=(PoolBuffer&& other) noexcept;
  ~PoolBuffer();

  uint8_t* data() const { return data_; }                   ///< null without memory
  size_t capacity() const { return data_ ? capacity_ : 0; } ///< at least what was asked for
  explicit operator bool() const { return data_ != nullptr; }

private:
  friend class TextBufferPool;
  PoolBuffer(TextBufferPool* pool, uint8_t* data, size_t capacity)
      : pool_(pool), data_(data), capacity_(capacity)
  {
  }
  void swap(PoolBuffer& other) noexcept;

  TextBufferPool* pool_ = nullptr;
  uint8_t* data_ = nullptr;
  size_t capacity_ = 0;
};

/// Keeps byte blocks that are needed again and again: pages of streams, lines of text. Sizes are
/// powers of two; of each it keeps a few, and the rest goes back to the system. Any thread.
class TextBufferPool {
public:
  static constexpr size_t smallest = 1024;    ///< bytes, also the first size of a line of text
  static constexpr size_t largest = 65536;    ///< larger blocks are made and freed each time
  static constexpr size_t keptBytes = 131072; ///< of each size, at most

  TextBufferPool() = default;
  TextBufferPool(const TextBufferPool&) = delete;
  TextBufferPool& operator=(const TextBufferPool&) = delete;
  ~TextBufferPool();

  PoolBuffer take(size_t bytes); ///< an empty one without memory
  size_t bytesHeld() const;      ///< unused, waiting for the next user

private:
  friend class PoolBuffer;
  static constexpr size_t sizes = 7; // 1 KiB to 64 KiB
  struct Shelf {
    std::array<uint8_t*, keptBytes / smallest> blocks;
    size_t count = 0;
  };

  Shelf* shelfOf(size_t capacity); ///< null when blocks of that size aren't kept
  void giveBack(uint8_t* data, size_t capacity);

  mutable FLock lock_{"TextBufferPool"};
  std::array<Shelf, sizes> shelves_{};
};

} // namespace orbi
