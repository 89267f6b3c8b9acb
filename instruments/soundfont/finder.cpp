#include "soundfont/finder.h"

#include <cstdlib>
#include <dlfcn.h>
#include <unistd.h>

namespace soundfont {

namespace {

constexpr const char* systemFiles[] = {
    "/usr/share/sounds/sf2/TimGM6mb.sf2",         "/usr/share/sounds/sf2/default-GM.sf2",
    "/usr/share/sounds/sf3/default-GM.sf3",       "/usr/share/sounds/sf2/FluidR3_GM.sf2",
    "/usr/share/soundfonts/default.sf2",          "/usr/share/soundfonts/FluidR3_GM.sf2",
    "/usr/local/share/sounds/sf2/default-GM.sf2", "/usr/local/share/soundfonts/default.sf2",
};

bool readable(const std::string& path)
{
  return !path.empty() && access(path.c_str(), R_OK) == 0;
}

} // namespace

std::string moduleStem()
{
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&findSoundFont), &info) == 0 || !info.dli_fname)
    return {};
  std::string path = info.dli_fname;
  const size_t dot = path.rfind('.');
  const size_t slash = path.rfind('/');
  if (dot != std::string::npos && (slash == std::string::npos || dot > slash + 1))
    path.erase(dot);
  return path;
}

bool keepModule()
{
  Dl_info info{};
  return dladdr(reinterpret_cast<const void*>(&findSoundFont), &info) != 0 && info.dli_fname &&
         dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE) != nullptr;
}

std::string findSoundFont()
{
  if (const std::string stem = moduleStem(); !stem.empty())
    for (const char* extension : {".sf2", ".sf3"})
      if (readable(stem + extension))
        return stem + extension;
  if (const char* named = std::getenv("ORBI_SOUNDFONT"); named && readable(named))
    return named;
  for (const char* path : systemFiles)
    if (readable(path))
      return path;
  return {};
}

} // namespace soundfont
