#include "persist/output_buffer.h"

#include "foundation/number_text.h"
#include "persist/xml_entities.h"

#include <algorithm>
#include <cstring>

namespace orbi {

namespace {
constexpr size_t pieceBytes = 4096; ///< of long texts, which go through in pieces
} // namespace

/// Makes room by growing first and by writing when the block is large already.
char* OutputBuffer::makeRoom(size_t bytes)
{
  if (failed_)
    return nullptr;
  if (fill_ + bytes <= block_.capacity())
    return begin() + fill_;
  if (block_.capacity() < TextBufferPool::largest) {
    PoolBuffer larger = pool_.take(
        std::min(std::max(block_.capacity() * 2, fill_ + bytes), TextBufferPool::largest));
    if (larger && fill_ > 0)
      std::memcpy(larger.data(), block_.data(), fill_);
    if (larger)
      block_ = std::move(larger);
    if (fill_ + bytes <= block_.capacity())
      return begin() + fill_;
  }
  return empty() && bytes <= block_.capacity() ? begin() : nullptr;
}

bool OutputBuffer::empty()
{
  auto count = static_cast<int64_t>(fill_);
  failed_ |= !block_ || (count > 0 && target_.write(begin(), count) != count);
  fill_ = 0;
  return !failed_;
}

bool OutputBuffer::flush()
{
  return !failed_ && empty();
}

void OutputBuffer::putLong(std::string_view text)
{
  for (; !text.empty(); text.remove_prefix(std::min(text.size(), pieceBytes))) {
    const size_t count = std::min(text.size(), pieceBytes);
    char* to = room(count);
    if (!to)
      return;
    std::memcpy(to, text.data(), count);
    used(to + count);
  }
}

void OutputBuffer::put(char c, size_t times)
{
  while (times > 0) {
    const size_t count = std::min(times, pieceBytes);
    char* to = room(count);
    if (!to)
      return;
    std::memset(to, c, count);
    used(to + count);
    times -= count;
  }
}

void OutputBuffer::putEscaped(std::string_view text)
{
  for (; !text.empty(); text.remove_prefix(std::min(text.size(), pieceBytes))) {
    std::string_view piece = text.substr(0, pieceBytes);
    char* to = room(piece.size() * longestEscape);
    if (!to)
      return;
    used(writeEscaped(to, piece));
  }
}

void OutputBuffer::putInt(int64_t value)
{
  if (char* to = room(longestNumber))
    used(writeInt(to, value));
}

void OutputBuffer::putDouble(double value)
{
  if (char* to = room(longestNumber))
    used(writeDouble(to, value));
}

void OutputBuffer::putHex(const uint8_t* bytes, size_t count)
{
  constexpr const char* digits = "0123456789ABCDEF";
  char* to = room(count * 2);
  if (!to)
    return;
  for (; count > 0; --count, ++bytes) {
    *to++ = digits[*bytes >> 4];
    *to++ = digits[*bytes & 15];
  }
  used(to);
}

} // namespace orbi
