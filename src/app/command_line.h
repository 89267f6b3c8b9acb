#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace orbi {

/// What the command line asks for.
struct Options {
  enum class Action { run, help, version, listDrivers, listMidi };
  Action action = Action::run;
  bool headless = false;
  bool stats = false;
  std::optional<std::string> driver;
  std::optional<std::string> midiPort;
  std::optional<std::filesystem::path> song;   ///< --play
  std::optional<std::filesystem::path> render; ///< --render
  std::optional<std::filesystem::path> file;   ///< FILE
  double seconds = 0.0;                        ///< 0: no limit

  // Settings of the "LOOM File Driver"
  int32_t rate = 48000;
  int32_t block = 256;
  int32_t outputs = 2;
  std::string format = "float32";
};

/// Why a command line can't be obeyed: a wrong option or value (status 2), or something that this
/// program doesn't offer yet (status 1).
struct CommandLineError {
  std::string text;
  int status;
};

/// Reads the arguments, without the program's name. Either the options or one line that names what
/// is wrong.
std::optional<Options> parseCommandLine(const std::vector<std::string>& arguments,
                                        CommandLineError& error);

std::string usageText(const std::string& programName);

} // namespace orbi
