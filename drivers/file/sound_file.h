#pragma once

#include "file/settings.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <sndfile.h>

namespace loom {

/// libsndfile, loaded only when there is a file to write: a silent device starts without it.
class SoundFileLibrary {
public:
  SoundFileLibrary() = default;
  SoundFileLibrary(const SoundFileLibrary&) = delete;
  SoundFileLibrary& operator=(const SoundFileLibrary&) = delete;
  ~SoundFileLibrary();

  bool load(std::string& reason);

  decltype(&sf_open_fd) openFd = nullptr;
  decltype(&sf_command) command = nullptr;
  decltype(&sf_write_raw) writeRaw = nullptr;
  decltype(&sf_error) error = nullptr;
  decltype(&sf_strerror) errorText = nullptr;
  decltype(&sf_close) close = nullptr;

private:
  template <class Function>
  bool find(const char* name, Function& function);

  void* handle_ = nullptr;
};

struct SoundFileFormat {
  int rate;
  int channels;
  int bytes; ///< 2, 3 or 4 a sample
  bool isFloat;
};

/// A WAV file that gets its name when it is complete. It holds exactly the bytes that are written,
/// up to 4 GB; what comes after that is lost, and finish tells. Used by one thread at a time.
class SoundFile {
public:
  SoundFile() = default;
  SoundFile(const SoundFile&) = delete;
  SoundFile& operator=(const SoundFile&) = delete;
  ~SoundFile();

  bool create(const SoundFileLibrary& library, const std::string& path,
              const SoundFileFormat& format, std::string& reason);

  /// Little-endian samples, whole frames. After a failure nothing more is written and no file is
  /// left; the failure is told by finish.
  void write(std::span<const uint8_t> bytes);

  /// Closes the file and gives it its name; true when there was none.
  bool finish(std::string& reason);

private:
  bool openTarget(const std::string& path, std::string& reason);
  bool openStream(const SoundFileFormat& format, std::string& reason);
  void flush();
  void completeHeader();
  void rememberError(const char* what, int systemError);
  void closeAll();
  void discard();

  const SoundFileLibrary* library_ = nullptr;
  std::string target_;
  std::string partial_; ///< what is written to; the target itself when that is a device
  int descriptor_ = -1;
  SNDFILE* stream_ = nullptr;
  std::vector<uint8_t> pending_;
  uint64_t bytesLeft_ = 0; ///< until the file is full
  bool full_ = false;
  std::string error_;
};

/// Where a channel lies in an interleaved block.
struct ChannelPlace {
  int channel;
  int channels;
};

/// Spreads one channel's packed samples over the interleaved block, in little-endian order.
void interleave(const uint8_t* samples, std::span<uint8_t> interleaved,
                const FileSampleFormat& format, ChannelPlace place);

/// Both channels at once, of 4-byte samples that need no swap. Everything aligned to 4 bytes.
void interleaveStereo(const void* left, const void* right, std::span<uint8_t> interleaved);

} // namespace loom
