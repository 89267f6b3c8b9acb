#include "platform/paths.h"

#include <array>
#include <cstdlib>
#include <pwd.h>
#include <sys/auxv.h>
#include <unistd.h>

namespace orbi::platform {

namespace fs = std::filesystem;

// The program

static fs::path findExecutable()
{
  std::error_code failure;
  const auto* given = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
  fs::path path = given != nullptr ? given : "";
  if (path.filename().empty() || !fs::exists(path, failure))
    return fs::read_symlink("/proc/self/exe", failure);

  // Only the folder is resolved.
  const fs::path absolute = fs::absolute(path, failure);
  const fs::path folder = fs::canonical(absolute.parent_path(), failure);
  return failure ? absolute : folder / absolute.filename();
}

const fs::path& executablePath()
{
  static const fs::path path = findExecutable();
  return path;
}

std::string_view moduleExtension()
{
  return "so";
}

// The user's folders

fs::path homeFolder()
{
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0')
    return home;
  std::array<char, 4096> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
  return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "";
}

/// A folder named by a variable, which counts only when it's absolute, or one below home.
static fs::path userFolder(const char* variable, const char* belowHome)
{
  if (const char* named = std::getenv(variable); named != nullptr && *named == '/')
    return named;
  const fs::path home = homeFolder();
  return home.empty() ? home : home / belowHome;
}

fs::path settingsFolder()
{
  return userFolder("XDG_CONFIG_HOME", ".config");
}

fs::path dataFolder()
{
  return userFolder("XDG_DATA_HOME", ".local/share");
}

} // namespace orbi::platform
