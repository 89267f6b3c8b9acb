#include "foundation/buffered_stream.h"

#include "foundation/class_registry.h"
#include "foundation/file_stream.h"

#include <algorithm>
#include <utility>

namespace orbi {

CM_REGISTER_ABSTRACT(FBufferedStream);

FBufferedStream::FBufferedStream(FStream* source, TextBufferPool& pool, int64_t pageSize)
    : source_(Ref<FStream>::share(source)), file_(castTo<FFileStream>(source)),
      pageSize_(pageSize > 0 ? pageSize : usualPage),
      page_(pool.take(static_cast<size_t>(pageSize_))),
      position_(source ? std::max<int64_t>(source->tell(), 0) : 0)
{
  followPosition();
}

FBufferedStream::~FBufferedStream()
{
  flush();
}

// Reading

int64_t FBufferedStream::read(void* buffer, int64_t count)
{
  if (!isValid() || !buffer || count < 1)
    return 0;
  if (monitor_) {
    if (monitor_->isCancelled())
      return -1;
    monitor_->advance(count);
  }
  return readsPastPage(count) ? readDirect(buffer, count)
                              : readPages(static_cast<uint8_t*>(buffer), count);
}

bool FBufferedStream::readsPastPage(int64_t count) const
{
  // A file that may be written always goes through the page.
  if (file_ && file_->mode() > openRead)
    return false;
  return count > pageSize_ || dirty_;
}

int64_t FBufferedStream::readDirect(void* buffer, int64_t count)
{
  writePage();
  if (source_->seek(position_, SeekMode::start) != position_)
    return 0;
  int64_t got = source_->read(buffer, count);
  position_ = std::max<int64_t>(source_->tell(), 0);
  followPosition();
  return got;
}

int64_t FBufferedStream::readPages(uint8_t* to, int64_t count)
{
  int64_t done = 0;
  while (done < count) {
    if (filled_ == 0 || writing_) {
      int64_t got = loadPage();
      if (got < 0)
        return done > 0 ? done : got;
    }
    int64_t offset = offsetInPage();
    int64_t step = std::min(count - done, filled_ - offset);
    if (step <= 0)
      break;
    std::memcpy(to + done, page_.data() + offset, static_cast<size_t>(step));
    done += step;
    position_ += step;
    followPosition();
  }
  return done;
}

int64_t FBufferedStream::loadPage()
{
  writePage();
  int64_t start = pageNumber_ * pageSize_;
  if (source_->seek(start, SeekMode::start) != start)
    return 0;
  int64_t got = source_->read(page_.data(), pageSize_);
  filled_ = std::clamp<int64_t>(got, 0, pageSize_);
  return got;
}

// Writing

int64_t FBufferedStream::write(const void* buffer, int64_t count)
{
  if (!isValid() || !buffer || count < 1 || count > INT64_MAX - position_)
    return 0;
  return count > pageSize_ ? writeDirect(buffer, count)
                           : writePages(static_cast<const uint8_t*>(buffer), count);
}

int64_t FBufferedStream::writeDirect(const void* buffer, int64_t count)
{
  if (!writePage() || source_->seek(position_, SeekMode::start) != position_)
    return 0;
  int64_t put = source_->write(buffer, count);
  position_ += std::max<int64_t>(put, 0);
  followPosition();
  return put;
}

int64_t FBufferedStream::writePages(const uint8_t* from, int64_t count)
{
  int64_t done = 0;
  while (done < count) {
    int64_t offset = offsetInPage();
    // A page that a write started holds one piece without gaps; so does one that was loaded.
    bool gap = offset > filled_ || (writing_ && offset < firstDirty_);
    if (filled_ > 0 && gap && !writePage())
      return done;
    int64_t step = std::min(count - done, pageSize_ - offset);
    std::memcpy(page_.data() + offset, from + done, static_cast<size_t>(step));
    if (filled_ == 0)
      writing_ = true;
    firstDirty_ = dirty_ ? std::min(firstDirty_, offset) : offset;
    filled_ = std::max(filled_, offset + step);
    dirty_ = true;
    done += step;
    position_ += step;
    if (!followPosition())
      return done - step;
  }
  return done;
}

/// Leaves a page that the position is no longer in.
bool FBufferedStream::followPosition()
{
  int64_t number = position_ / pageSize_;
  if (number == pageNumber_)
    return true;
  bool written = writePage();
  pageNumber_ = number;
  return written;
}

/// Writes what is dirty and empties the page.
bool FBufferedStream::writePage()
{
  bool written = true;
  if (dirty_) {
    int64_t start = pageNumber_ * pageSize_ + firstDirty_;
    int64_t count = filled_ - firstDirty_;
    written = source_->seek(start, SeekMode::start) == start &&
              source_->write(page_.data() + firstDirty_, count) == count;
    lost_ = lost_ || !written;
  }
  emptyPage();
  return written;
}

void FBufferedStream::emptyPage()
{
  filled_ = firstDirty_ = 0;
  writing_ = dirty_ = false;
}

bool FBufferedStream::flush()
{
  if (!source_)
    return false;
  writePage();
  source_->seek(position_, SeekMode::start);
  return !std::exchange(lost_, false);
}

int64_t FBufferedStream::seek(int64_t offset, SeekMode mode)
{
  int64_t target = offset;
  if (mode == SeekMode::end)
    return position_;
  if (mode == SeekMode::current && __builtin_add_overflow(position_, offset, &target))
    return position_;
  if (target < 0)
    return position_;
  position_ = target;
  followPosition();
  if (monitor_) {
    if (mode == SeekMode::start)
      monitor_->setPosition(position_);
    else
      monitor_->advance(offset);
  }
  return position_;
}

} // namespace orbi
