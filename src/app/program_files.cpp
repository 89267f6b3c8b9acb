// Programs and banks that the command line names.
#include "app/player_application.h"

#include "host/program_file.h"
#include "persist/file_dialog.h"

namespace orbi {

namespace {

/// Whether it holds a bank; nothing when it isn't whole.
std::optional<bool> holdsBank(const std::filesystem::path& path, std::string& reason)
{
  const std::optional<std::string> bytes = readProgramFile(path, reason);
  if (!bytes)
    return std::nullopt;
  ProgramFileFault fault;
  const std::optional<ParsedProgramFile> file = parseProgramFile(*bytes, fault);
  if (!file) {
    reason = fault.text();
    return std::nullopt;
  }
  return file->bank.has_value();
}

} // namespace

/// A song that was given begins with the first block: what is to sound in it comes before.
bool OrbiPlayerApplication::opensBeforeSong() const
{
  return options_.song && options_.file && isProgramFile(*options_.file);
}

/// False at the first file that can't be loaded: what would be played or saved then is something
/// else than was asked for. A FILE that is opened last is still to come.
bool OrbiPlayerApplication::loadPrograms()
{
  for (const std::filesystem::path& path : options_.loads)
    if (!loadProgramFile(path))
      return false;
  if (opensBeforeSong())
    return openProgramFile(*options_.file);
  programsLoaded_ = !options_.file || !isProgramFile(*options_.file);
  return true;
}

/// What was asked for at the start is there once FILE is; one that fails later changes nothing.
bool OrbiPlayerApplication::openProgramFile(const std::filesystem::path& path)
{
  const bool isLoaded = loadProgramFile(path);
  programsLoaded_ = programsLoaded_ || isLoaded;
  return isLoaded;
}

/// A file that isn't whole doesn't reach the plug-in at all.
bool OrbiPlayerApplication::loadProgramFile(const std::filesystem::path& path)
{
  std::string reason;
  const std::optional<bool> isBank = holdsBank(path, reason);
  if (!isBank) {
    show(path.string() + ": " + reason);
    exitStatus_ = 1;
    return false;
  }
  FGivenFile given(path);
  return tellOutcome(path,
                     *isBank ? plugin_->loadBankFile(given) : plugin_->loadProgramFile(given));
}

/// Not where the plug-in never got what it was to be given.
void OrbiPlayerApplication::savePrograms()
{
  if (!plugin_ || !programsLoaded_)
    return;
  if (options_.saveProgram) {
    FGivenFile given(*options_.saveProgram);
    tellOutcome(*options_.saveProgram, plugin_->savePlugProgramFile(given));
  }
  if (options_.saveBank) {
    FGivenFile given(*options_.saveBank);
    tellOutcome(*options_.saveBank, plugin_->saveBankFile(given));
  }
}

/// True when all that was asked for was done; else says why not.
bool OrbiPlayerApplication::tellOutcome(const std::filesystem::path& path, int32_t result)
{
  const char* fault = plugin_->fileFault();
  if (result == 1 && !fault)
    return true;
  show(path.string() + ": " + (fault ? fault : "nothing was done"));
  exitStatus_ = 1;
  return false;
}

} // namespace orbi
