#include "orbitool/files.h"

#include "foundation/file_stream.h"

namespace orbi {

namespace fs = std::filesystem;

std::optional<Fault> faultOfPath(const fs::path& path)
{
  std::error_code failure;
  const fs::file_status status = fs::status(path, failure);
  if (status.type() == fs::file_type::not_found)
    return Fault{"doesn't exist"};
  if (status.type() == fs::file_type::directory)
    return Fault{"is a folder"};
  if (status.type() != fs::file_type::regular)
    return Fault{"is no file that can be read"};
  return std::nullopt;
}

std::optional<std::string> readWhole(const fs::path& path, Fault& fault)
{
  if (std::optional<Fault> wrong = faultOfPath(path)) {
    fault = *wrong;
    return std::nullopt;
  }
  FFileStream stream;
  fault = {"can't be opened"};
  if (!stream.open(path, openRead))
    return std::nullopt;
  const int64_t size = stream.size();
  fault = {"is larger than " + std::to_string(largestFile >> 20) + " MiB"};
  if (size > largestFile)
    return std::nullopt;
  fault = {"can't be read"};
  if (size < 0)
    return std::nullopt;
  std::string bytes(static_cast<size_t>(size), '\0');
  if (stream.read(bytes.data(), size) != size)
    return std::nullopt;
  return bytes;
}

std::optional<Fault> replaceFile(const fs::path& path, std::string_view bytes)
{
  constexpr int mostNames = 100; // of files that others left or are writing now
  std::error_code failure;
  if (fs::is_directory(path, failure))
    return Fault{"is a folder"};
  FFileStream stream;
  fs::path written;
  for (int i = 0; i < mostNames && !stream.isOpen(); ++i) {
    written = path;
    written += "~" + (i > 0 ? std::to_string(i) : std::string());
    if (!fs::exists(written, failure) && !stream.open(written, openWrite | openNew))
      break;
  }
  if (!stream.isOpen())
    return Fault{"can't be written"};
  const auto size = static_cast<int64_t>(bytes.size());
  const bool complete = stream.write(bytes.data(), size) == size && stream.flush();
  if (!stream.close() || !complete) {
    fs::remove(written, failure);
    return Fault{"can't be written completely"};
  }
  fs::rename(written, path, failure);
  if (failure) {
    std::error_code ignored;
    fs::remove(written, ignored);
    return Fault{"can't be replaced"};
  }
  platform::flushFolder(path.has_parent_path() ? path.parent_path() : fs::path("."));
  return std::nullopt;
}

std::string extensionOf(const fs::path& path)
{
  std::string extension = path.extension().string();
  if (!extension.empty())
    extension.erase(0, 1);
  for (char& c : extension)
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return extension;
}

} // namespace orbi
