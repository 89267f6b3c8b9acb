#include "persist/whole_file.h"

namespace orbi {

namespace fs = std::filesystem;

namespace {

/// Where a link leads, though nothing may be there yet.
fs::path behindLinks(fs::path path)
{
  constexpr int mostLinks = 40; // more go in a circle
  std::error_code failure;
  for (int i = 0; i < mostLinks && fs::is_symlink(path, failure); ++i)
    path = path.parent_path() / fs::read_symlink(path, failure);
  return path;
}

} // namespace

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
  if (const char* wrong = faultOfFile(path)) {
    fault = wrong;
    return std::nullopt;
  }
  fault = "can't be opened";
  if (!stream.open(path, openRead))
    return std::nullopt;
  const int64_t size = stream.size();
  fault = "is larger than " + std::to_string(mostBytes >> 20) + " MiB";
  if (size > mostBytes)
    return std::nullopt;
  fault = "can't be read";
  if (size < 0)
    return std::nullopt;
  std::string bytes(static_cast<size_t>(size), '\0');
  if (stream.read(bytes.data(), size) != size)
    return std::nullopt;
  return bytes;
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
  target_ = behindLinks(target);
  const fs::file_status there = fs::status(target_, failure);
  if (fs::is_directory(there))
    return fail("is a folder");
  if (fs::exists(there) && !fs::is_regular_file(there))
    return file_.open(target_, openAppend) || fail("can't be written");
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
  constexpr int mostNames = 100; // of files that others left or are writing now
  std::error_code failure;
  for (int i = 0; i < mostNames; ++i) {
    written_ = target_;
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
