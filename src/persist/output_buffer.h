#pragma once

#include "foundation/stream.h"
#include "foundation/text_buffer_pool.h"

#include <string_view>

namespace orbi {

/// Bytes on their way to a stream. Starts small and grows while there is more, up to the pool's
/// largest block.
class OutputBuffer {
public:
  /// Both are borrowed.
  OutputBuffer(FStream& target, TextBufferPool& pool)
      : target_(target), pool_(pool), block_(pool.take(TextBufferPool::smallest))
  {
  }

  void put(std::string_view text)
  {
    if (text.size() <= block_.capacity() - fill_ && !failed_)
      fill_ += text.copy(begin() + fill_, text.size());
    else
      putLong(text);
  }
  template <class Number>
  void putNumber(Number number) ///< as the machine holds it
  {
    put({reinterpret_cast<const char*>(&number), sizeof number});
  }
  void put(char c, size_t times);
  void putEscaped(std::string_view text);
  void putInt(int64_t value);
  void putDouble(double value);
  void putHex(const uint8_t* bytes, size_t count); ///< upper case

  // For who puts several things at once
  char* room(size_t bytes) ///< at most TextBufferPool::largest; null once writing failed
  {
    return bytes <= block_.capacity() - fill_ && !failed_ ? begin() + fill_ : makeRoom(bytes);
  }
  void used(const char* end) { fill_ = static_cast<size_t>(end - begin()); }

  bool flush(); ///< false when anything so far couldn't be written

private:
  void putLong(std::string_view text);
  char* makeRoom(size_t bytes);
  char* begin() const { return reinterpret_cast<char*>(block_.data()); }
  bool empty();

  FStream& target_;
  TextBufferPool& pool_;
  PoolBuffer block_;
  size_t fill_ = 0;
  bool failed_ = false;
};

} // namespace orbi
