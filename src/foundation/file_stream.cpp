#include "foundation/file_stream.h"

#include "foundation/class_registry.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(FFileStream);

namespace {

platform::FileMode fileMode(uint32_t mode)
{
  if (mode & openAppend)
    return platform::FileMode::append;
  if (!(mode & openWrite))
    return platform::FileMode::read;
  if (mode & openNew)
    return platform::FileMode::createNew;
  return mode & openCreate ? platform::FileMode::create : platform::FileMode::update;
}

constexpr platform::SeekFrom origins[] = {
    platform::SeekFrom::start,
    platform::SeekFrom::current,
    platform::SeekFrom::end,
};

} // namespace

/// The first cause survives: what fails after it is mostly its consequence.
bool FFileStream::note(bool succeeded)
{
  if (!succeeded && firstError_ == 0)
    firstError_ = file_.error();
  return succeeded;
}

bool FFileStream::open(const std::filesystem::path& path, uint32_t mode)
{
  close();
  firstError_ = 0;
  path_ = path;
  mode_ = mode;
  if (!note(file_.open(path, fileMode(mode))))
    return false;
  if (mode & openAppend)
    file_.seek(0, platform::SeekFrom::end); // where the writing will happen; a pipe has no position
  return true;
}

bool FFileStream::close()
{
  bool closed = file_.close();
  return !isWritable() || note(closed);
}

bool FFileStream::mayTransfer(int64_t count)
{
  if (!monitor_)
    return true;
  if (monitor_->isCancelled())
    return false;
  monitor_->advance(count);
  return true;
}

int64_t FFileStream::read(void* buffer, int64_t count)
{
  if (!buffer || count < 1)
    return 0;
  if (!mayTransfer(count))
    return -1;
  int64_t got = file_.read(buffer, count);
  return note(got >= 0) ? got : 0; // -1 would say that the user stopped it
}

int64_t FFileStream::write(const void* buffer, int64_t count)
{
  if (!buffer || count < 1)
    return 0;
  if (!mayTransfer(count))
    return -1;
  int64_t put = file_.write(buffer, count);
  return note(put >= 0) ? put : 0;
}

int64_t FFileStream::seek(int64_t offset, SeekMode mode)
{
  const auto origin = static_cast<size_t>(mode); // may come from behind an interface
  if (origin >= std::size(origins))
    return -1;
  int64_t position = file_.seek(offset, origins[origin]);
  if (!note(position >= 0) || !monitor_)
    return position;
  if (mode == SeekMode::start)
    monitor_->setPosition(position);
  else if (mode == SeekMode::current)
    monitor_->advance(offset);
  return position;
}

int64_t FFileStream::tell()
{
  int64_t position = file_.tell();
  note(position >= 0);
  return position;
}

bool FFileStream::flush()
{
  return note(file_.flush());
}

int64_t FFileStream::size()
{
  if ((mode_ & openWrite) && (mode_ & openSizeBySeeking)) {
    int64_t position = tell();
    int64_t end = position < 0 ? -1 : file_.seek(0, platform::SeekFrom::end);
    bool measured = note(end >= 0) && note(file_.seek(position, platform::SeekFrom::start) >= 0);
    return measured ? end : -1;
  }
  int64_t bytes = file_.size();
  note(bytes >= 0);
  return bytes;
}

bool FFileStream::setSize(int64_t bytes)
{
  return note(file_.resize(bytes));
}

bool FFileStream::atEnd()
{
  return size() <= tell();
}

} // namespace orbi
