#include "foundation/stream_proxy.h"

#include "foundation/class_registry.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(FStreamProxy);

FStreamProxy::FStreamProxy(FStream* source, int64_t base, int64_t length)
    : source_(Ref<FStream>::share(source)), base_(std::max<int64_t>(base, 0)), position_(base_),
      length_(std::min(length, INT64_MAX - base_))
{
}

int64_t FStreamProxy::read(void* buffer, int64_t count)
{
  count = buffer ? prepare(count) : 0;
  return count > 0 ? finish(source_->read(buffer, count)) : 0;
}

int64_t FStreamProxy::write(const void* buffer, int64_t count)
{
  count = buffer ? prepare(count) : 0;
  return count > 0 ? finish(source_->write(buffer, count)) : 0;
}

/// Puts the source where the window stands. Answers how much of the count lies in the window.
int64_t FStreamProxy::prepare(int64_t count)
{
  if (!source_ || count < 1)
    return 0;
  if (length_ > 0)
    count = std::min(count, base_ + length_ - position_);
  return count > 0 && source_->seek(position_, SeekMode::start) == position_ ? count : 0;
}

int64_t FStreamProxy::finish(int64_t moved)
{
  position_ = std::max(source_->tell(), base_);
  return moved;
}

int64_t FStreamProxy::seek(int64_t offset, SeekMode mode)
{
  if (!source_)
    return -1;
  int64_t origin = base_;
  if (mode == SeekMode::current)
    origin = position_;
  else if (mode == SeekMode::end)
    origin = base_ + length_;
  int64_t target = 0;
  if (mode == SeekMode::end && length_ <= 0) {
    source_->seek(offset, SeekMode::end);
    target = source_->tell();
  } else if (__builtin_add_overflow(origin, offset, &target)) {
    target = offset < 0 ? base_ : INT64_MAX;
  }
  if (length_ > 0)
    target = std::min(target, base_ + length_);
  position_ = std::max(target, base_);
  return tell();
}

} // namespace orbi
