#include "app/player_application.h"

#include "audio/driver_list.h"
#include "foundation/class_registry.h"
#include "midi/merged_input.h"
#include "platform/file.h"
#include "platform/message_box.h"
#include "platform/midi_system.h"
#include "platform/paths.h"

#include <cstdio>
#include <string>
#include <vector>

#ifndef ORBI_VERSION
#define ORBI_VERSION "0"
#endif

namespace {

using namespace orbi;

constexpr int statusFailed = 1;
constexpr int statusWrong = 2;

int complain(const std::string& program, const std::string& text, int status)
{
  platform::StandardErrorMessages().show(program, text);
  return status;
}

/// What was asked for on standard output; no success where it doesn't arrive.
int print(const std::string& program, const std::string& text)
{
  if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0)
    return 0;
  return complain(program, "standard output can't be written", statusFailed);
}

int printLines(const std::string& program, const std::vector<std::string>& lines)
{
  std::string text;
  for (const std::string& line : lines)
    text += line + '\n';
  return print(program, text);
}

std::vector<std::string> driverNames(const LoomDriverList& list)
{
  std::vector<std::string> names;
  char name[LoomDriverList::nameLimit];
  for (int32_t i = 0;
       i < LoomDevice::maxNamedDrivers && list.name(i, name, LoomDriverList::nameLimit) == 0; ++i)
    names.emplace_back(name);
  return names;
}

/// Of the ports that can play the instrument.
std::vector<std::string> midiPortNames(const std::string& instrument)
{
  std::vector<std::string> names{PMergedMidiInput::portName};
  for (const auto& system : platform::makeMidiSystems(instrument)) {
    system->rescan();
    for (const platform::MidiPortInfo& port : system->inputs())
      if (!port.isVirtual)
        names.push_back(port.name);
  }
  return names;
}

/// A driver that was named has to be there; the line says which ones are.
int checkDriver(const std::string& program, const std::string& wanted,
                const std::vector<std::string>& names)
{
  std::string known;
  for (const std::string& name : names) {
    if (name == wanted)
      return 0;
    known += (known.empty() ? "" : ", ") + name;
  }
  return complain(program,
                  "wrong value for --driver: " + wanted +
                      " (there are: " + (known.empty() ? "none" : known) + ")",
                  statusWrong);
}

/// Empty where the system knows no home for the user.
std::filesystem::path settingsFolder(const std::string& title)
{
  std::filesystem::path folder = platform::settingsFolder();
  return folder.empty() ? folder : folder / companyName / title;
}

/// Files that come with the program: beside it, where it was installed, or in the build tree.
std::vector<std::filesystem::path> resourceFolders(const std::filesystem::path& executable)
{
  std::filesystem::path folder = executable.parent_path();
  std::filesystem::path shared = folder.parent_path() / "share";
  return {folder, shared / "orbiplayer", shared};
}

/// Whether somebody waits for the status. A window's run always ends well, unless it was asked to
/// load or save.
bool isScripted(const Options& options)
{
  return !options.loads.empty() || options.saveProgram || options.saveBank ||
         (!options.hasWindow() && (options.song || options.file));
}

int runApplication(Options options, const std::filesystem::path& executable,
                   std::vector<platform::DriverRegistration> drivers)
{
  std::string program = executable.stem().string();
  std::string title = OrbiPlayerApplication::titleFor(executable);
  platform::StandardErrorMessages messages;

  std::optional<Song> song;
  std::string songFault;
  if (options.song) {
    song = readSong(*options.song, songFault);
    if (!song && !options.hasWindow())
      return complain(program, options.song->string() + ": " + songFault, statusFailed);
  }
  const bool answersScript = isScripted(options);
  std::optional<std::filesystem::path> file = options.file;
  auto application = make<OrbiPlayerApplication>(
      title.c_str(), std::move(options),
      OrbiPlayerApplication::Surroundings{executable, std::move(drivers), messages,
                                          settingsFolder(title), resourceFolders(executable)});
  if (song)
    application->setSong(std::move(*song));
  else
    application->setSongFault(std::move(songFault));
  if (file)
    application->setFileToOpen(*file);
  application->run();
  application->finishRun();
  int status = answersScript || application->hasLostOutput() ? application->exitStatus() : 0;
  application = nullptr;
  CmClassRegistry::destroyInstance();
  return status;
}

} // namespace

int main(int count, char** values)
{
  platform::letWritesFail();
  const std::filesystem::path& executable = platform::executablePath();
  std::string program = executable.stem().string();
  std::vector<std::string> arguments(values + (count > 0 ? 1 : 0), values + count);

  std::string error;
  std::optional<Options> options = parseCommandLine(arguments, error);
  if (!options)
    return complain(program, error, statusWrong);
  switch (options->action) {
  case Options::Action::help:
    return print(program, usageText(program));
  case Options::Action::version:
    return print(program,
                 OrbiPlayerApplication::titleFor(executable) + " (ORBiPlayer " ORBI_VERSION ")\n");
  case Options::Action::listMidi:
    return printLines(program, midiPortNames(program));
  case Options::Action::listDrivers:
  case Options::Action::run:
    break;
  }

  auto drivers = platform::registeredDrivers(executable.parent_path());
  std::vector<std::string> names = driverNames(LoomDriverList(drivers));
  if (options->action == Options::Action::listDrivers)
    return printLines(program, names);
  if (options->driver)
    if (int status = checkDriver(program, *options->driver, names))
      return status;
  return runApplication(std::move(*options), executable, std::move(drivers));
}
