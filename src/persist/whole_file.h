#pragma once

#include "foundation/file_stream.h"

#include <filesystem>
#include <optional>
#include <string>

namespace orbi {

/// Words for a path that doesn't lead to a regular file, so that reading it might not come to an
/// end; null when it does.
const char* faultOfFile(const std::filesystem::path& path);

/// Where a link leads, though nothing may be there yet; somewhere on a circle.
std::filesystem::path behindLinks(std::filesystem::path path);

/// The whole of a regular file of at most so many bytes. Nothing on failure, and the words for it.
std::optional<std::string> readWholeFile(const std::filesystem::path& path, int64_t mostBytes,
                                         std::string& fault);

struct FileStart {
  std::string bytes;
  int64_t fileBytes;
};

/// The first bytes of a regular file, at most so many, and its size.
std::optional<FileStart> readFileStart(const std::filesystem::path& path, int64_t mostBytes,
                                       std::string& fault);

/// A file's new content, written beside the file and put in its place when it is complete: at every
/// moment the old one or the new one is there as a whole. What isn't finished is taken away. A link
/// leads to the file that is replaced; a device is written to as it is.
class FFileReplacement {
public:
  FFileReplacement() = default;
  FFileReplacement(const FFileReplacement&) = delete;
  ~FFileReplacement();

  bool open(const std::filesystem::path& target); ///< once; false when nothing can be written there
  FStream& stream() { return file_; }
  bool finish(); ///< false when a byte got lost, and then the old file stays
  const char* fault() const { return fault_; } ///< words for the last failure

private:
  bool openBeside();
  bool fail(const char* fault);

  std::filesystem::path target_;
  std::filesystem::path written_; ///< empty for a device
  FFileStream file_;
  const char* fault_ = nullptr;
};

} // namespace orbi
