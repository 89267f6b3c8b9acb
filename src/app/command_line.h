#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace orbi {

inline constexpr const char* fileDriverName = "LOOM File Driver"; ///< into which a render goes

/// What the command line asks for.
struct Options {
  enum class Action { run, help, version, listDrivers, listMidi };
  Action action = Action::run;
  bool headless = false;
  bool stats = false;
  bool hasWindow() const { return !headless && !render; } ///< a render plays by itself
  std::optional<std::string> driver;
  std::optional<std::string> midiPort;
  std::optional<std::filesystem::path> song;   ///< --play
  std::optional<std::filesystem::path> render; ///< --render
  std::optional<std::filesystem::path> file;   ///< FILE
  std::vector<std::filesystem::path> loads;    ///< --load
  std::optional<std::filesystem::path> saveProgram;
  std::optional<std::filesystem::path> saveBank;
  double seconds = 0.0; ///< 0: no limit

  // Settings of the "LOOM File Driver"
  int32_t rate = 48000;
  int32_t block = 256;
  int32_t outputs = 2;
  std::string format = "float32";
};

/// Reads the arguments, without the program's name. Either the options or one line that names the
/// wrong option or value.
std::optional<Options> parseCommandLine(const std::vector<std::string>& arguments,
                                        std::string& error);

/// Whether a file's name says that it is a program or a bank.
bool isProgramFile(const std::filesystem::path& file);

/// Whether the program opens a file of this name.
bool isFileToOpen(const std::filesystem::path& file);

std::string usageText(const std::string& programName);

} // namespace orbi
