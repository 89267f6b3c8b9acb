#include "app/command_line.h"

#include "foundation/file_type.h"

#include "loom/loom.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace orbi {

namespace {

constexpr const char* formatNames[] = {
#define ORBI_FORMAT_NAME(name, type, bytes, big) #name,
    LOOM_SAMPLE_FORMATS(ORBI_FORMAT_NAME)
#undef ORBI_FORMAT_NAME
};

/// Reads a value into the options; false when it isn't one.
using TakeValue = bool (*)(Options& options, const std::string& value);

struct Option {
  const char* name;
  const char* value; ///< placeholder of its value, null for none
  TakeValue take;
  const char* help;
};

std::optional<double> parseNumber(const std::string& text)
{
  double number = 0.0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number))
    return std::nullopt;
  return number;
}

bool takeNumber(const std::string& text, double lowest, double highest, double& out)
{
  std::optional<double> number = parseNumber(text);
  if (!number || *number < lowest || *number > highest)
    return false;
  out = *number;
  return true;
}

bool takeInteger(const std::string& text, int32_t lowest, int32_t highest, int32_t& out)
{
  double number = 0.0;
  if (!takeNumber(text, lowest, highest, number) || number != std::floor(number))
    return false;
  out = static_cast<int32_t>(number);
  return true;
}

template <Options::Action action>
bool takeAction(Options& options, const std::string&)
{
  options.action = action;
  return true;
}

template <bool Options::*flag>
bool takeFlag(Options& options, const std::string&)
{
  return options.*flag = true;
}

template <std::optional<std::filesystem::path> Options::*path>
bool takePath(Options& options, const std::string& value)
{
  options.*path = value;
  return !value.empty();
}

constexpr Option optionTable[] = {
    {"--help", nullptr, takeAction<Options::Action::help>, "print this and end"},
    {"--version", nullptr, takeAction<Options::Action::version>, "print the version and end"},
    {"--list-drivers", nullptr, takeAction<Options::Action::listDrivers>,
     "one driver name a line, and end"},
    {"--list-midi", nullptr, takeAction<Options::Action::listMidi>,
     "one MIDI port name a line, and end"},
    {"--headless", nullptr, takeFlag<&Options::headless>,
     "no window; messages go to standard error"},
    {"--driver", "NAME",
     [](Options& options, const std::string& value) {
       options.driver = value;
       return !value.empty();
     },
     "use this LOOM driver for this run"},
    {"--midi-port", "NAME",
     [](Options& options, const std::string& value) {
       options.midiPort = value;
       return !value.empty();
     },
     "connect this input port for this run; all for every one"},
    {"--play", "FILE.mid", takePath<&Options::song>, "play a song, then quit"},
    {"--render", "OUT.wav", takePath<&Options::render>,
     "with --play: into a sound file, as fast as possible"},
    {"--rate", "HZ",
     [](Options& options, const std::string& value) {
       return takeInteger(value, 1000, 768000, options.rate);
     },
     "sample rate of the LOOM File Driver, 48000"},
    {"--block", "FRAMES",
     [](Options& options, const std::string& value) {
       return takeInteger(value, 1, 65536, options.block);
     },
     "its block size, 256"},
    {"--outputs", "N",
     [](Options& options, const std::string& value) {
       return takeInteger(value, 1, loomMaxChannels, options.outputs);
     },
     "its outputs, 2"},
    {"--format", "TYPE",
     [](Options& options, const std::string& value) {
       options.format = value;
       return std::any_of(std::begin(formatNames), std::end(formatNames),
                          [&](const char* name) { return value == name; });
     },
     "its sample format, float32"},
    {"--seconds", "S",
     [](Options& options, const std::string& value) {
       return takeNumber(value, 1e-6, 1e9, options.seconds);
     },
     "quit after that much audio"},
    {"--load", "FILE",
     [](Options& options, const std::string& value) {
       options.loads.emplace_back(value);
       return !value.empty();
     },
     "load a program or bank before anything plays; repeatable"},
    {"--save-program", "FILE", takePath<&Options::saveProgram>, "save the program at the end"},
    {"--save-bank", "FILE", takePath<&Options::saveBank>, "save the bank at the end"},
    {"--stats", nullptr, takeFlag<&Options::stats>, "at the end print a line of JSON"},
};

const Option* findOption(const std::string& name)
{
  for (const Option& option : optionTable)
    if (name == option.name)
      return &option;
  return nullptr;
}

bool isSong(const std::filesystem::path& file)
{
  return compareTexts(file.extension().c_str(), ".mid", TextCompare::ignoreCase) == 0;
}

bool takeFile(Options& options, const std::string& argument, std::string& error)
{
  if (options.file)
    error = "more than one file: " + argument;
  else if (!isFileToOpen(argument))
    error = "unknown kind of file: " + argument;
  else
    options.file = argument;
  return error.empty();
}

/// Reads the option at the place, and its value: behind "=", or else in the next place.
bool takeOption(Options& options, const std::vector<std::string>& arguments, size_t& place,
                std::string& error)
{
  const std::string& argument = arguments[place];
  const size_t equals = argument.find('=');
  const std::string name = argument.substr(0, equals);
  std::optional<std::string> value;
  if (equals != std::string::npos)
    value = argument.substr(equals + 1);
  const Option* option = findOption(name);
  if (option && option->value && !value && ++place < arguments.size())
    value = arguments[place];
  if (!option)
    error = "unknown option: " + argument;
  else if (!option->value && value)
    error = name + " takes no value";
  else if (option->value && !value)
    error = name + " needs a value: " + option->value;
  else if (!option->take(options, value.value_or("")))
    error = "wrong value for " + name + ": " + value.value_or("");
  return error.empty();
}

/// Options that make sense only together.
bool optionsAgree(const Options& options, std::string& error)
{
  if (options.render && !options.song)
    error = "--render needs a song: --play FILE.mid";
  else if (options.render && options.driver && *options.driver != fileDriverName)
    error = "--render goes through the LOOM File Driver, not --driver " + *options.driver;
  else if (options.song && options.file && isSong(*options.file))
    error = "--play and a song to open: " + options.file->string();
  return error.empty();
}

} // namespace

bool isProgramFile(const std::filesystem::path& file)
{
  const std::string extension = file.extension().string();
  return !extension.empty() && FFileTypeRecord::find(extension.c_str() + 1);
}

bool isFileToOpen(const std::filesystem::path& file)
{
  return isSong(file.string()) || isProgramFile(file);
}

std::optional<Options> parseCommandLine(const std::vector<std::string>& arguments,
                                        std::string& error)
{
  Options options;
  error.clear();
  bool onlyFiles = false;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (!onlyFiles && argument == "--") {
      onlyFiles = true;
      continue;
    }
    const bool isOption = !onlyFiles && argument.starts_with('-');
    if (isOption ? !takeOption(options, arguments, i, error) : !takeFile(options, argument, error))
      return std::nullopt;
  }
  if (!optionsAgree(options, error))
    return std::nullopt;
  return options;
}

std::string usageText(const std::string& programName)
{
  std::string text = "usage: " + programName + " [options] [FILE]\n";
  for (const Option& option : optionTable) {
    std::string head = std::string("  ") + option.name;
    if (option.value)
      head += std::string(" ") + option.value;
    head.resize(std::max<size_t>(head.size() + 2, 26), ' ');
    text += head + option.help + "\n";
  }
  return text + "FILE is opened last: .fxp loads a program, .fxb a bank, .mid is played once.\n";
}

} // namespace orbi
