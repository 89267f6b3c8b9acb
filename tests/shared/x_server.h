#pragma once

#include "shared/variable.h"

#include <csignal>
#include <fcntl.h>
#include <optional>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/// An X server without a screen, under a number that nobody else has, and on request a window
/// manager. While it lives, DISPLAY leads to it.
class XServer {
public:
  explicit XServer(const std::vector<const char*>& options = {})
  {
    int ends[2];
    if (pipe(ends) != 0)
      return;
    const std::string number = std::to_string(ends[1]);
    std::vector<const char*> command{"Xvfb",         "-displayfd", number.c_str(), "-screen", "0",
                                     "1280x1024x24", "-nolisten",  "tcp",          "-noreset"};
    command.insert(command.end(), options.begin(), options.end());
    server_ = start(command);
    close(ends[1]);
    std::string display = ":";
    char digit;
    while (server_ > 0 && read(ends[0], &digit, 1) == 1 && digit != '\n')
      display += digit;
    close(ends[0]);
    if (display.size() > 1)
      variable_.emplace("DISPLAY", display);
  }
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;
  ~XServer()
  {
    end(manager_, SIGTERM);
    end(server_, SIGTERM);
  }

  bool isRunning() const { return variable_.has_value(); } ///< false where Xvfb isn't installed

  /// False where openbox isn't installed. Ready once `XUser::hasManager`.
  bool startManager()
  {
    manager_ = start({"openbox", "--sm-disable"});
    return manager_ > 0;
  }
  void endManager() { end(manager_, SIGTERM); }
  void kill() { end(server_, SIGKILL); } ///< as a crash of it would

private:
  static pid_t start(const std::vector<const char*>& arguments)
  {
    std::vector<char*> list;
    for (const char* each : arguments)
      list.push_back(const_cast<char*>(each));
    list.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    for (const int output : {STDOUT_FILENO, STDERR_FILENO})
      posix_spawn_file_actions_addopen(&files, output, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    if (posix_spawnp(&process, list[0], &files, nullptr, list.data(), environ) != 0)
      process = 0;
    posix_spawn_file_actions_destroy(&files);
    return process;
  }

  static void end(pid_t& process, int signal)
  {
    if (process <= 0)
      return;
    ::kill(process, signal);
    waitpid(process, nullptr, 0);
    process = 0;
  }

  pid_t server_ = 0;
  pid_t manager_ = 0;
  std::optional<Variable> variable_;
};
