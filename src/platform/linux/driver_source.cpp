#include "platform/driver_source.h"

#include "platform/paths.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>

namespace orbi::platform {

namespace fs = std::filesystem;

constexpr std::string_view blanks = " \t\r\v\f";
constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
constexpr std::string_view registrationExtension = ".loom";
constexpr std::size_t maximumFileBytes = 64 * 1024;
constexpr std::size_t maximumKeyBytes = 127;

// One registration

namespace {

struct Values {
  std::string_view classId;
  std::string_view description;
  std::string_view server;
};

/// A value beyond its limit counts as one that isn't there.
struct Entry {
  std::string_view name;
  std::string_view Values::*value;
  std::size_t maximumBytes;
};

constexpr Entry entries[] = {
    {"clsid", &Values::classId, 255},
    {"description", &Values::description, 255},
    {"server", &Values::server, 4095},
};

} // namespace

static std::string_view trimmed(std::string_view text)
{
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos)
    return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

static void readLine(std::string_view line, Values& values)
{
  line = line.substr(0, line.find('#'));
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos || line.find('\0') != std::string_view::npos)
    return;
  const std::string_view name = trimmed(line.substr(0, equals));
  const std::string_view value = trimmed(line.substr(equals + 1));
  for (const Entry& entry : entries)
    if (entry.name == name && value.size() <= entry.maximumBytes)
      values.*entry.value = value;
}

std::optional<DriverRegistration> parseRegistration(std::string_view text, std::string_view key,
                                                    const fs::path& folder)
{
  Values values;
  if (text.starts_with(byteOrderMark))
    text.remove_prefix(byteOrderMark.size());
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    readLine(text.substr(0, end), values);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (values.classId.empty() || values.server.empty())
    return std::nullopt;

  DriverRegistration registration;
  registration.key = key;
  registration.classId = values.classId;
  registration.description = values.description;
  registration.hasDescription = !values.description.empty();
  registration.server = folder / values.server; // an absolute server replaces the folder
  return registration;
}

// The folders

static std::vector<fs::path> registrationFolders(const fs::path& executableFolder)
{
  std::vector<fs::path> folders{executableFolder / "Loom Drivers"};
  if (const fs::path data = dataFolder(); !data.empty())
    folders.push_back(data / "loom/drivers");

  const char* variable = std::getenv("XDG_DATA_DIRS");
  std::string_view shared = variable != nullptr ? variable : "";
  if (shared.empty())
    shared = "/usr/local/share:/usr/share";
  while (!shared.empty()) {
    const std::size_t end = std::min(shared.find(':'), shared.size());
    const std::string_view folder = shared.substr(0, end);
    if (folder.starts_with('/'))
      folders.push_back(fs::path(folder) / "loom/drivers");
    shared.remove_prefix(std::min(end + 1, shared.size()));
  }
  return folders;
}

static std::vector<std::string> registrationFiles(const fs::path& folder)
{
  std::vector<std::string> names;
  std::error_code failure;
  fs::directory_iterator entry(folder, failure);
  for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
    std::error_code unknown;
    const fs::path name = entry->path().filename();
    if (name.extension() == registrationExtension && entry->is_regular_file(unknown) &&
        name.native().size() <= maximumKeyBytes + registrationExtension.size())
      names.push_back(name.native());
  }
  std::sort(names.begin(), names.end());
  return names;
}

static std::optional<std::string> readText(const fs::path& path)
{
  std::ifstream file(path, std::ios::binary);
  std::string text(maximumFileBytes + 1, '\0');
  if (!file)
    return std::nullopt;
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  const auto bytes = static_cast<std::size_t>(file.gcount());
  if (file.bad() || bytes > maximumFileBytes)
    return std::nullopt;
  text.resize(bytes);
  return text;
}

std::vector<DriverRegistration> registeredDrivers(const fs::path& executableFolder)
{
  std::vector<DriverRegistration> drivers;
  std::set<std::string> known;
  for (const fs::path& folder : registrationFolders(executableFolder)) {
    for (const std::string& name : registrationFiles(folder)) {
      const std::string key = name.substr(0, name.size() - registrationExtension.size());
      if (!known.insert(key).second)
        continue;
      const std::optional<std::string> text = readText(folder / name);
      if (auto driver = text ? parseRegistration(*text, key, folder) : std::nullopt)
        drivers.push_back(*std::move(driver));
    }
  }
  return drivers;
}

} // namespace orbi::platform
