#include "platform/linux/jack_server_traces.h"

#include <cstdlib>
#include <dirent.h>
#include <functional>
#include <string>

namespace orbi::platform {

namespace {

constexpr std::int64_t second = 1'000'000'000;
constexpr std::int64_t startingTime = 10 * second; // that a server takes after its first trace
constexpr std::int64_t longestRest = 30 * second;  // for one that leaves its traces elsewhere

/// The same as long as no file comes, goes or is made anew under its old name.
std::uint64_t tracesIn(const char* path)
{
  std::uint64_t sum = 0;
  DIR* folder = path != nullptr ? opendir(path) : nullptr;
  if (folder == nullptr)
    return sum;
  while (const dirent* entry = readdir(folder)) {
    const std::string name = entry->d_name;
    if (name.starts_with("jack") || name.starts_with("pipewire"))
      sum += std::hash<std::string>()(name + '/' + std::to_string(entry->d_ino));
  }
  closedir(folder);
  return sum;
}

} // namespace

bool JackServerTraces::worthTrying(std::int64_t now)
{
  const std::uint64_t traces =
      tracesIn("/dev/shm") + tracesIn("/tmp") + tracesIn(std::getenv("XDG_RUNTIME_DIR"));
  if (traces != traces_)
    tryUntil_ = now + startingTime;
  traces_ = traces;
  if (now >= tryUntil_ && now < tryAnyway_)
    return false;
  tryAnyway_ = now + longestRest;
  return true;
}

} // namespace orbi::platform
