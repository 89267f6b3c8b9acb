#include "foundation/buffer_stream.h"

#include "foundation/class_registry.h"

#include <algorithm>

namespace orbi {

CM_REGISTER_ABSTRACT(FBufferStream);

int64_t FBufferStream::read(void* buffer, int64_t count)
{
  if (!buffer || count < 1)
    return 0;
  int64_t cursor = buffer_->used();
  count = std::min(count, buffer_->capacity() - cursor);
  if (count == 0) {
    buffer_->clear();
    return 0;
  }
  std::memcpy(buffer, buffer_->data() + cursor, static_cast<size_t>(count));
  buffer_->moveUsed(static_cast<uint32_t>(cursor + count));
  return count;
}

int64_t FBufferStream::write(const void* buffer, int64_t count)
{
  if (!buffer || count < 1 || count > UINT32_MAX)
    return 0;
  return buffer_->append(buffer, static_cast<uint32_t>(count)) ? count : 0;
}

int64_t FBufferStream::seek(int64_t offset, SeekMode mode)
{
  int64_t target = offset;
  bool fits = true;
  if (mode == SeekMode::current)
    fits = !__builtin_add_overflow(int64_t(buffer_->used()), offset, &target);
  else if (mode == SeekMode::end) // minus is meant: the other streams add
    fits = !__builtin_sub_overflow(int64_t(buffer_->capacity()), offset, &target);
  if (fits && target >= 0 && target <= UINT32_MAX)
    buffer_->moveUsed(static_cast<uint32_t>(target));
  return tell();
}

} // namespace orbi
