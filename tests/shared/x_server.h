#pragma once

#include "shared/process.h"
#include "shared/variable.h"

#include <optional>
#include <string>

/// An X server without a screen, under a number that nobody else has, and on request a window
/// manager. While it lives, DISPLAY leads to it.
class XServer {
public:
  explicit XServer(const std::string& screen = "1280x1024x24")
  {
    int ends[2];
    if (pipe(ends) != 0)
      return;
    const std::string number = std::to_string(ends[1]);
    server_ = startProcess({"Xvfb", "-displayfd", number.c_str(), "-screen", "0", screen.c_str(),
                            "-nolisten", "tcp", "-noreset"});
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
    endProcess(manager_, SIGTERM);
    endProcess(server_, SIGTERM);
  }

  bool isRunning() const { return variable_.has_value(); } ///< false where Xvfb isn't installed

  /// False where openbox isn't installed. Ready once `XUser::hasManager`.
  bool startManager()
  {
    manager_ = startProcess({"openbox", "--sm-disable"});
    return manager_ > 0;
  }
  void endManager() { endProcess(manager_, SIGTERM); }
  void kill() { endProcess(server_, SIGKILL); } ///< as a crash of it would

private:
  pid_t server_ = 0;
  pid_t manager_ = 0;
  std::optional<Variable> variable_;
};
