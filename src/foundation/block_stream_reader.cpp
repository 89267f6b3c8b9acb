#include "foundation/block_stream_reader.h"

#include "foundation/class_registry.h"

#include <algorithm>
#include <new>

namespace orbi {

CM_REGISTER_ABSTRACT(FBlockStreamReader);

FBlockStreamReader::FBlockStreamReader(FStream* source, int64_t blockSize)
    : source_(Ref<FStream>::share(source)), blockSize_(blockSize > 0 ? blockSize : usualBlock),
      block_(new (std::nothrow) uint8_t[static_cast<size_t>(blockSize_)]),
      position_(source ? source->tell() : 0)
{
}

int64_t FBlockStreamReader::read(void* buffer, int64_t count)
{
  if (!isValid() || !buffer || count < 1)
    return 0;
  auto* to = static_cast<uint8_t*>(buffer);
  int64_t done = takeFromBlock(to, count);
  while (count - done >= blockSize_) {
    offset_ = 0; // the block is used up, and the source leaves it behind
    int64_t got = readSource(to + done);
    if (got < 0)
      return done > 0 ? done : got;
    position_ += got;
    done += got;
    if (got < blockSize_)
      return done;
  }
  if (done == count)
    return done;
  offset_ = 0;
  int64_t got = readSource(block_.get());
  left_ = std::max<int64_t>(got, 0);
  if (got < 0 && done == 0)
    return got;
  return done + takeFromBlock(to + done, count - done);
}

int64_t FBlockStreamReader::takeFromBlock(uint8_t* to, int64_t count)
{
  count = std::min(count, left_);
  if (count > 0)
    std::memcpy(to, block_.get() + offset_, static_cast<size_t>(count));
  offset_ += count;
  left_ -= count;
  position_ += count;
  return count;
}

/// One block's bytes, or fewer at the end.
int64_t FBlockStreamReader::readSource(void* to)
{
  return std::min(source_->read(to, blockSize_), blockSize_);
}

int64_t FBlockStreamReader::seek(int64_t offset, SeekMode mode)
{
  int64_t target = offset;
  if (!source_ || mode == SeekMode::end)
    return -1;
  if (mode == SeekMode::current && __builtin_add_overflow(position_, offset, &target))
    return position_;
  if (target < 0)
    return position_;
  if (target >= position_ - offset_ && target <= position_ + left_) {
    int64_t step = target - position_;
    offset_ += step;
    left_ -= step;
    position_ = target;
    return position_;
  }
  int64_t reached = source_->seek(target, SeekMode::start);
  offset_ = left_ = 0;
  position_ = reached >= 0 ? reached : source_->tell();
  return position_;
}

} // namespace orbi
