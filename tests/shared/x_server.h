#pragma once

#include "shared/process.h"
#include "shared/variable.h"

#include <optional>
#include <string>

/// An X server without a screen, under a number that nobody else has, and on request a window
/// manager. While it lives, DISPLAY leads to it.
class XServer {
public:
  explicit XServer(const std::vector<const char*>& options = {})
  {
    const std::string number = lineFrom([&](const std::string& descriptor) {
      std::vector<const char*> command{"Xvfb",      "-displayfd", descriptor.c_str(),
                                       "-screen",   "0",          "1280x1024x24",
                                       "-nolisten", "tcp",        "-noreset"};
      command.insert(command.end(), options.begin(), options.end());
      return server_ = startProcess(command);
    });
    if (!number.empty())
      variable_.emplace("DISPLAY", ":" + number);
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
