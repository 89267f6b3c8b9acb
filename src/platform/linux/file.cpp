#include "platform/file.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace orbi::platform {

constexpr int modeFlags[] = {
    O_RDONLY,                      // read
    O_RDWR,                        // update
    O_RDWR | O_CREAT | O_TRUNC,    // create
    O_RDWR | O_CREAT | O_EXCL,     // createNew
    O_WRONLY | O_CREAT | O_APPEND, // append
};

constexpr int origins[] = {SEEK_SET, SEEK_CUR, SEEK_END};

// One call carries less than 2 GiB.
constexpr std::int64_t maximumTransfer = 1 << 30;

/// Repeats a call for as long as a signal interrupts it.
template <typename Call>
static auto uninterrupted(Call call)
{
  auto result = call();
  while (result < 0 && errno == EINTR)
    result = call();
  return result;
}

File::File(File&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, none)), error_(other.error_)
{
}

File& File::operator=(File&& other) noexcept
{
  if (this != &other) {
    close();
    descriptor_ = std::exchange(other.descriptor_, none);
    error_ = other.error_;
  }
  return *this;
}

bool File::check(bool succeeded)
{
  if (!succeeded)
    error_ = errno;
  return succeeded;
}

// Opening and closing

bool File::open(const std::filesystem::path& path, FileMode mode)
{
  close();
  error_ = 0;
  // Opening never waits for the other end of a pipe that somebody named like a file.
  const int flags = modeFlags[static_cast<int>(mode)];
  descriptor_ =
      uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0666); });
  if (!check(descriptor_ >= 0))
    return false;
  struct stat status {};
  if (check(fstat(descriptor_, &status) == 0) && S_ISDIR(status.st_mode)) {
    errno = EISDIR;
    check(false);
  }
  if (error_ == 0 && check(fcntl(descriptor_, F_SETFL, flags) == 0)) // reading and writing do wait
    return true;
  ::close(std::exchange(descriptor_, none));
  return false;
}

bool File::close()
{
  if (!isOpen())
    return true;
  // Not repeated after an interruption: the descriptor is gone in any case.
  const int result = ::close(std::exchange(descriptor_, none));
  return check(result == 0 || errno == EINTR);
}

// Reading and writing

std::int64_t File::read(void* bytes, std::int64_t count)
{
  auto* to = static_cast<char*>(bytes);
  std::int64_t done = 0;
  while (done < count) {
    const auto part = static_cast<std::size_t>(std::min(count - done, maximumTransfer));
    const ssize_t got = uninterrupted([&] { return ::read(descriptor_, to + done, part); });
    if (!check(got >= 0))
      return -1;
    if (got == 0)
      break;
    done += got;
  }
  return done;
}

std::int64_t File::write(const void* bytes, std::int64_t count)
{
  const auto* from = static_cast<const char*>(bytes);
  std::int64_t done = 0;
  while (done < count) {
    const auto part = static_cast<std::size_t>(std::min(count - done, maximumTransfer));
    const ssize_t put = uninterrupted([&] { return ::write(descriptor_, from + done, part); });
    if (!check(put >= 0))
      return -1;
    done += put;
  }
  return done;
}

// Position and size

std::int64_t File::seek(std::int64_t offset, SeekFrom from)
{
  const off_t position = ::lseek(descriptor_, offset, origins[static_cast<int>(from)]);
  return check(position >= 0) ? position : -1;
}

std::int64_t File::tell()
{
  return seek(0, SeekFrom::current);
}

std::int64_t File::size()
{
  struct stat status {};
  return check(fstat(descriptor_, &status) == 0) ? status.st_size : -1;
}

bool File::resize(std::int64_t bytes)
{
  return check(uninterrupted([&] { return ftruncate(descriptor_, bytes); }) == 0);
}

bool File::flush()
{
  return check(uninterrupted([&] { return fsync(descriptor_); }) == 0);
}

void letWritesFail(ClosedPipe closedPipe)
{
  std::signal(SIGXFSZ, SIG_IGN);
  if (closedPipe == ClosedPipe::failsWrites)
    std::signal(SIGPIPE, SIG_IGN);
}

bool flushFolder(const std::filesystem::path& folder)
{
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0)
    return false;
  const bool flushed = uninterrupted([&] { return fsync(descriptor); }) == 0;
  ::close(descriptor);
  return flushed;
}

} // namespace orbi::platform
