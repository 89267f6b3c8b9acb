#include "orbitool/files.h"

#include "persist/whole_file.h"

namespace orbi {

namespace fs = std::filesystem;

std::optional<Fault> faultOfPath(const fs::path& path)
{
  const char* fault = faultOfFile(path);
  return fault ? std::optional(Fault{fault}) : std::nullopt;
}

std::optional<std::string> readWhole(const fs::path& path, Fault& fault)
{
  return readWholeFile(path, largestFile, fault.reason);
}

std::optional<Fault> replaceFile(const fs::path& path, std::string_view bytes)
{
  FFileReplacement file;
  const auto size = static_cast<int64_t>(bytes.size());
  if (!file.open(path))
    return Fault{file.fault()};
  file.stream().write(bytes.data(), size); // what gets lost is told at the end
  return file.finish() ? std::nullopt : std::optional(Fault{file.fault()});
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
