#include "persist/whole_file.h"

#include <algorithm>
#include <new>

namespace orbi {

namespace fs = std::filesystem;

namespace {

/// The size of what was opened; nothing, and the words, when it can't be read.
std::optional<int64_t> openToRead(FFileStream& stream, const fs::path& path, std::string& fault)
{
  if (const char* wrong = faultOfFile(path)) {
    fault = wrong;
    return std::nullopt;
  }
  fault = "can't be opened";
  if (!stream.open(path, openRead))
    return std::nullopt;
  const int64_t size = stream.size();
  fault = "can't be read";
  return size < 0 ? std::nullopt : std::optional(size);
}

std::optional<std::string> readBytes(FFileStream& stream, int64_t count, std::string& fault)
{
  std::string bytes;
  try {
    bytes.resize(static_cast<size_t>(count));
  } catch (const std::bad_alloc&) {
    fault = "is larger than the memory that is left";
    return std::nullopt;
  }
  fault = "can't be read";
  if (stream.read(bytes.data(), count) != count)
    return std::nullopt;
  return bytes;
}

} // namespace

fs::path behindLinks(fs::path path)
{
  constexpr int mostLinks = 40; // more go in a circle
  std::error_code failure;
  for (int i = 0; i < mostLinks && fs::is_symlink(path, failure); ++i)
    path = path.parent_path() / fs::read_symlink(path, failure);
  return path;
}

const char* faultOfFile(const fs::path& path)
{
  std::error_code failure;
  switch (fs::status(path, failure).type()) {
  case fs::file_type::regular:
    return nullptr;
  case fs::file_type::not_found:
    return "doesn't exist";
  case fs::file_type::directory:
    return "is a folder";
  default:
    return "is no file that can be read";
  }
}

std::optional<std::string> readWholeFile(const fs::path& path, int64_t mostBytes,
                                         std::string& fault)
{
  FFileStream stream;
  const std::optional<int64_t> size = openToRead(stream, path, fault);
  if (!size)
    return std::nullopt;
  if (*size > mostBytes) {
    fault = "is larger than " + std::to_string(mostBytes >> 20) + " MiB";
    return std::nullopt;
  }
  return readBytes(stream, *size, fault);
}

std::optional<FileStart> readFileStart(const fs::path& path, int64_t mostBytes, std::string& fault)
{
  FFileStream stream;
  const std::optional<int64_t> size = openToRead(stream, path, fault);
  if (!size)
    return std::nullopt;
  std::optional<std::string> bytes = readBytes(stream, std::min(*size, mostBytes), fault);
  if (!bytes)
    return std::nullopt;
  return FileStart{std::move(*bytes), *size};
}

// Replacing

FFileReplacement::~FFileReplacement()
{
  std::error_code ignored;
  if (!file_.isOpen())
    return;
  file_.close();
  if (!written_.empty())
    fs::remove(written_, ignored);
}

bool FFileReplacement::fail(const char* fault)
{
  fault_ = fault;
  return false;
}

bool FFileReplacement::open(const fs::path& target)
{
  std::error_code failure;
  const fs::file_status there = fs::status(target, failure);
  if (fs::is_directory(there))
    return fail("is a folder");
  if (!fs::status_known(there)) // links in a circle, or a folder that can't be looked into
    return fail("can't be written");
  if (fs::exists(there) && !fs::is_regular_file(there)) // its links may lead to what is no path
    return file_.open(target, openAppend) || fail("can't be written");
  target_ = behindLinks(target);
  // What may not be written may not be replaced either.
  if (fs::exists(there) && !FFileStream().open(target_, openWrite))
    return fail("can't be written");
  if (!openBeside())
    return fail("can't be written");
  if (fs::exists(there))
    fs::permissions(written_, there.permissions(), failure);
  return true;
}

bool FFileReplacement::openBeside()
{
  constexpr int mostNames = 100;          // of files that others left or are writing now
  constexpr size_t longestName = 255 - 3; // bytes of a name that leave room for the mark
  std::error_code failure;
  fs::path stem = target_;
  if (stem.filename().native().size() > longestName)
    stem.replace_filename("unfinished");
  for (int i = 0; i < mostNames; ++i) {
    written_ = stem;
    written_ += "~" + (i > 0 ? std::to_string(i) : std::string());
    if (file_.open(written_, openWrite | openNew))
      return true;
    if (!fs::exists(written_, failure))
      break;
  }
  return false;
}

bool FFileReplacement::finish()
{
  std::error_code ignored;
  const bool isBeside = !written_.empty();
  const bool complete = file_.firstError() == 0 && (!isBeside || file_.flush());
  if (!file_.close() || !complete) {
    if (isBeside)
      fs::remove(written_, ignored);
    return fail("can't be written completely");
  }
  if (!isBeside)
    return true;
  std::error_code failure;
  fs::rename(written_, target_, failure);
  if (failure) {
    fs::remove(written_, ignored);
    return fail("can't be replaced");
  }
  platform::flushFolder(target_.has_parent_path() ? target_.parent_path() : fs::path("."));
  return true;
}

} // namespace orbi
