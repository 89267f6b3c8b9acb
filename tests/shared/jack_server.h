#pragma once

#include "shared/variable.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

/// A JACK server with its dummy back end under a name that nobody else has.
class JackServer {
public:
  JackServer()
  {
    // Synchronous, so that no cycle is lost when the machine is busy.
    const char* arguments[] = {"jackd", "-n", name_.c_str(), "-r", "-S", "-d",
                               "dummy", "-r", "48000",       "-p", "64", nullptr};
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    if (posix_spawnp(&process_, "jackd", &files, nullptr, const_cast<char**>(arguments), environ) !=
        0)
      process_ = 0;
    posix_spawn_file_actions_destroy(&files);
  }
  JackServer(const JackServer&) = delete;
  JackServer& operator=(const JackServer&) = delete;
  ~JackServer()
  {
    end(SIGTERM);
    removeTraces();
  }

  void end(int signal)
  {
    if (process_ > 0) {
      kill(process_, signal);
      waitpid(process_, nullptr, 0);
    }
    process_ = 0;
  }

private:
  /// What a server leaves in shared memory when it is killed.
  void removeTraces() const
  {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm", error))
      if (entry.path().filename().string().find(name_) != std::string::npos)
        std::filesystem::remove_all(entry.path(), error);
  }

  const std::string name_ = "orbi_test_" + std::to_string(getpid());
  const Variable server_{"JACK_DEFAULT_SERVER", name_};
  const Variable reservation_{"JACK_NO_AUDIO_RESERVATION", "1"};
  pid_t process_ = 0;
};
