#include "file/sound_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace loom {

namespace {

// Blocks are gathered to this size: a system call for each would cost more than the copy.
constexpr size_t pendingBytes = 128 * 1024;
// The lengths in a WAV file have 32 bits; some room is left for the header.
constexpr uint64_t mostBytes = 0xFFFF0000;

std::string errorWords(const char* what, int systemError)
{
  return std::string(what) + ": " + std::strerror(systemError);
}

/// The file behind symbolic links, so that renaming replaces the file and not the link.
std::string resolved(const std::string& path)
{
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                         &std::free);
  return real ? real.get() : path;
}

/// The kind of file (S_IFMT) that is there already, 0 when there is none.
mode_t kindOf(const std::string& path)
{
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

int subtype(const SoundFileFormat& format)
{
  switch (format.bytes) {
  case 2:
    return SF_FORMAT_PCM_16;
  case 3:
    return SF_FORMAT_PCM_24;
  default:
    return format.isFloat ? SF_FORMAT_FLOAT : SF_FORMAT_PCM_32;
  }
}

template <int bytes>
void spread(const uint8_t* from, uint8_t* to, size_t frames, size_t frameBytes, bool swap)
{
  if (!swap) {
    for (size_t frame = 0; frame < frames; ++frame, from += bytes, to += frameBytes)
      std::memcpy(to, from, bytes);
    return;
  }
  for (size_t frame = 0; frame < frames; ++frame, from += bytes, to += frameBytes)
    for (int i = 0; i < bytes; ++i)
      to[i] = from[bytes - 1 - i];
}

/// The usual case by itself: two channels of four bytes, which the compiler vectorises.
void spreadStereo(const uint32_t* __restrict left, const uint32_t* __restrict right,
                  uint32_t* __restrict to, size_t frames)
{
  for (size_t frame = 0; frame < frames; ++frame) {
    to[2 * frame] = left[frame];
    to[2 * frame + 1] = right[frame];
  }
}

} // namespace

void interleaveStereo(const void* left, const void* right, std::span<uint8_t> interleaved)
{
  spreadStereo(static_cast<const uint32_t*>(left), static_cast<const uint32_t*>(right),
               reinterpret_cast<uint32_t*>(interleaved.data()), interleaved.size() / 8);
}

void interleave(const uint8_t* samples, std::span<uint8_t> interleaved,
                const FileSampleFormat& format, ChannelPlace place)
{
  const size_t frameBytes = size_t(format.bytes) * place.channels;
  const size_t frames = interleaved.size() / frameBytes;
  uint8_t* to = interleaved.data() + size_t(format.bytes) * place.channel;
  switch (format.bytes) {
  case 2:
    return spread<2>(samples, to, frames, frameBytes, format.bigEndian);
  case 3:
    return spread<3>(samples, to, frames, frameBytes, format.bigEndian);
  default:
    return spread<4>(samples, to, frames, frameBytes, format.bigEndian);
  }
}

// ---- the library --------------------------------------------------------------------------------

SoundFileLibrary::~SoundFileLibrary()
{
  if (handle_)
    ::dlclose(handle_);
}

template <class Function>
bool SoundFileLibrary::find(const char* name, Function& function)
{
  function = reinterpret_cast<Function>(::dlsym(handle_, name));
  return function != nullptr;
}

bool SoundFileLibrary::load(std::string& reason)
{
  if (handle_)
    return true;
  handle_ = ::dlopen("libsndfile.so.1", RTLD_NOW | RTLD_LOCAL);
  if (handle_ && find("sf_open_fd", openFd) && find("sf_command", command) &&
      find("sf_write_raw", writeRaw) && find("sf_error", error) && find("sf_strerror", errorText) &&
      find("sf_close", close))
    return true;
  reason = "libsndfile.so.1 can't be loaded; writing sound files needs it";
  return false;
}

// ---- the file -----------------------------------------------------------------------------------

SoundFile::~SoundFile()
{
  discard();
}

bool SoundFile::create(const SoundFileLibrary& library, const std::string& path,
                       const SoundFileFormat& format, std::string& reason)
{
  library_ = &library;
  error_.clear();
  full_ = false;
  pending_.clear();
  pending_.reserve(pendingBytes);
  if (openTarget(path, reason) && openStream(format, reason))
    return true;
  discard();
  return false;
}

bool SoundFile::openTarget(const std::string& path, std::string& reason)
{
  target_ = resolved(path);
  const mode_t kind = kindOf(target_);
  if (kind == S_IFDIR) {
    reason = errorWords("the sound file can't be created", EISDIR) + ": " + path;
    return false;
  }
  int flags = O_WRONLY | O_CLOEXEC;
  if (kind != 0 && kind != S_IFREG) {
    partial_ = target_;
    flags |= O_NONBLOCK; // a pipe that nobody reads is an error and no reason to wait
  } else {
    partial_ = target_ + ".part";
    ::unlink(partial_.c_str()); // left by a run that was killed
    flags |= O_CREAT | O_EXCL;
  }
  descriptor_ = ::open(partial_.c_str(), flags, 0666);
  if (descriptor_ < 0) {
    reason = errorWords("the sound file can't be created", errno) + ": " + path;
    return false;
  }
  return true;
}

bool SoundFile::openStream(const SoundFileFormat& format, std::string& reason)
{
  SF_INFO info{};
  info.samplerate = format.rate;
  info.channels = format.channels;
  info.format = SF_FORMAT_WAV | subtype(format);
  stream_ = library_->openFd(descriptor_, SFM_WRITE, &info, SF_FALSE);
  if (!stream_) {
    reason = std::string("the sound file can't be begun: ") + library_->errorText(nullptr);
    return false;
  }
  // A peak chunk carries the time of day, and two runs should give equal files.
  library_->command(stream_, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
  const uint64_t frameBytes = uint64_t(format.bytes) * format.channels;
  bytesLeft_ = mostBytes / frameBytes * frameBytes;
  return true;
}

void SoundFile::write(std::span<const uint8_t> bytes)
{
  if (!stream_)
    return;
  if (bytes.size() > bytesLeft_) {
    full_ = true;
    bytes = bytes.first(bytesLeft_);
  }
  bytesLeft_ -= bytes.size();
  pending_.insert(pending_.end(), bytes.begin(), bytes.end());
  if (pending_.size() + bytes.size() > pendingBytes)
    flush();
}

void SoundFile::flush()
{
  const auto bytes = static_cast<sf_count_t>(pending_.size());
  errno = 0;
  if (library_->writeRaw(stream_, pending_.data(), bytes) != bytes)
    rememberError("the sound file can't be written", errno);
  pending_.clear();
}

bool SoundFile::finish(std::string& reason)
{
  if (stream_) {
    flush();
    completeHeader();
    closeAll();
  }
  if (error_.empty() && !partial_.empty() && partial_ != target_ &&
      ::rename(partial_.c_str(), target_.c_str()) != 0)
    rememberError("the sound file can't be named", errno);
  if (!error_.empty()) {
    reason = error_;
    discard();
    return false;
  }
  partial_.clear();
  if (full_)
    reason = "the sound file ends at 4 GB, where a WAV file is full: " + target_;
  return !full_;
}

/// The header is written once more with the final lengths.
void SoundFile::completeHeader()
{
  if (!stream_)
    return;
  errno = 0;
  library_->command(stream_, SFC_UPDATE_HEADER_NOW, nullptr, 0);
  if (library_->error(stream_) != SF_ERR_NO_ERROR)
    rememberError("the sound file can't be completed", errno);
}

void SoundFile::rememberError(const char* what, int systemError)
{
  error_ = errorWords(what, systemError ? systemError : EIO) + ": " + target_;
  discard();
}

void SoundFile::closeAll()
{
  if (stream_)
    library_->close(stream_);
  stream_ = nullptr;
  // Some file systems tell of a failed write only now.
  if (descriptor_ >= 0 && ::close(descriptor_) != 0 && error_.empty())
    error_ = errorWords("the sound file can't be closed", errno) + ": " + target_;
  descriptor_ = -1;
}

void SoundFile::discard()
{
  closeAll();
  if (!partial_.empty() && partial_ != target_)
    ::unlink(partial_.c_str());
  partial_.clear();
}

} // namespace loom
