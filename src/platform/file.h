#pragma once

#include <cstdint>
#include <filesystem>

namespace orbi::platform {

enum class FileMode {
  read,      ///< an existing file
  update,    ///< an existing file, read and written
  create,    ///< read and written, emptied when it exists
  createNew, ///< read and written, fails when it exists
  append,    ///< written at the end alone, made when it is missing
};

enum class SeekFrom { start, current, end };

/// An open file. Every operation answers -1 or false on failure and leaves the system's number for
/// the cause in `error()`, which keeps the last one; a success doesn't touch it. One thread at a
/// time. Not inherited by programs that are started.
class File {
public:
  File() = default;
  ~File() { close(); }
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;

  bool open(const std::filesystem::path& path,
            FileMode mode); ///< closes the former file; no folders
  bool close();             ///< false when the system reports a late failure; closed nevertheless
  bool isOpen() const { return descriptor_ != none; }

  std::int64_t read(void* bytes, std::int64_t count); ///< fewer than asked for only at the end
  std::int64_t write(const void* bytes, std::int64_t count); ///< all of them, or -1
  std::int64_t seek(std::int64_t offset, SeekFrom from);     ///< answers the new position
  std::int64_t tell();
  std::int64_t size();
  bool resize(std::int64_t bytes); ///< keeps the position
  bool flush();                    ///< returns when the bytes are on the medium

  int error() const { return error_; }

private:
  static constexpr int none = -1;
  bool check(bool succeeded);

  int descriptor_ = none;
  int error_ = 0;
};

enum class ClosedPipe { failsWrites, endsProgram };

/// From here on a write that the system doesn't allow, into a file that grew too large or, as
/// chosen, a pipe that nobody reads, fails instead of ending the program. Once, at its start.
void letWritesFail(ClosedPipe closedPipe = ClosedPipe::failsWrites);

/// Makes the names in a folder durable, such as after a rename. False on failure.
bool flushFolder(const std::filesystem::path& folder);

} // namespace orbi::platform
