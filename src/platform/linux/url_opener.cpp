#include "platform/url_opener.h"

#include "platform/thread.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orbi::platform {

namespace {

/// The browser mustn't inherit what this program does with signals.
struct SpawnAttributes {
  posix_spawnattr_t value{};
  SpawnAttributes()
  {
    posix_spawnattr_init(&value);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&value, &none);
    posix_spawnattr_setsigdefault(&value, &all);
    posix_spawnattr_setpgroup(&value, 0);
    posix_spawnattr_setflags(&value, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                         POSIX_SPAWN_SETPGROUP);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&value); }
  SpawnAttributes(const SpawnAttributes&) = delete;
};

} // namespace

bool openUrl(const std::string& url)
{
  std::string program = "xdg-open";
  std::string page = url;
  const std::array<char*, 3> arguments{program.data(), page.data(), nullptr};
  const SpawnAttributes attributes;
  pid_t child = 0;
  if (posix_spawnp(&child, program.c_str(), nullptr, &attributes.value, arguments.data(),
                   environ) != 0)
    return false;
  // It hands the page on and ends; somebody has to take note of that.
  ThreadHandle::start("url opener", [child] {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {}
  }).abandon();
  return true;
}

} // namespace orbi::platform
