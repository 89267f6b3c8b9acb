// Programs and banks that the command line names.
#include "app/player_application.h"

#include "host/program_file.h"
#include "persist/file_dialog.h"

namespace orbi {

namespace {

/// Whether it holds a bank; nothing when it isn't whole.
std::optional<bool> holdsBank(const std::filesystem::path& path, bool tellsPlace,
                              std::string& reason)
{
  const std::optional<std::string> bytes = readProgramFile(path, reason);
  if (!bytes)
    return std::nullopt;
  ProgramFileFault fault;
  const std::optional<ParsedProgramFile> file = parseProgramFile(*bytes, fault);
  if (!file) {
    reason = tellsPlace ? fault.text() : fault.reason;
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
    if (!loadProgramFile(path, Teller::script))
      return false;
  if (opensBeforeSong()) {
    setFileToOpen({});
    return openProgramFile(*options_.file);
  }
  programsLoaded_ = !options_.file || !isProgramFile(*options_.file);
  return true;
}

/// What was asked for at the start is there once FILE is; one that fails later changes nothing.
bool OrbiPlayerApplication::openProgramFile(const std::filesystem::path& path)
{
  const bool isLoaded = loadProgramFile(path, Teller::user);
  programsLoaded_ = programsLoaded_ || isLoaded;
  return isLoaded;
}

/// A file that isn't whole doesn't reach the plug-in at all.
bool OrbiPlayerApplication::loadProgramFile(const std::filesystem::path& path, Teller teller)
{
  std::string reason;
  const std::optional<bool> isBank = holdsBank(path, teller == Teller::script, reason);
  if (!isBank)
    return tellTrouble(path, reason, teller);
  FGivenFile given(path);
  return tellOutcome(path, *isBank ? plugin_->loadBankFile(given) : plugin_->loadProgramFile(given),
                     teller);
}

/// Not where the plug-in never got what it was to be given.
void OrbiPlayerApplication::savePrograms()
{
  if (!plugin_ || !programsLoaded_)
    return;
  if (options_.saveProgram) {
    FGivenFile given(*options_.saveProgram);
    if (!tellOutcome(*options_.saveProgram, plugin_->savePlugProgramFile(given), Teller::script))
      exitStatus_ = 1;
  }
  if (options_.saveBank) {
    FGivenFile given(*options_.saveBank);
    if (!tellOutcome(*options_.saveBank, plugin_->saveBankFile(given), Teller::script))
      exitStatus_ = 1;
  }
}

/// True when all that was asked for was done; else says why not.
bool OrbiPlayerApplication::tellOutcome(const std::filesystem::path& path, int32_t result,
                                        Teller teller)
{
  const char* fault = plugin_->fileFault();
  return (result == 1 && !fault) || tellTrouble(path, fault ? fault : "nothing was done", teller);
}

bool OrbiPlayerApplication::tellTrouble(const std::filesystem::path& path,
                                        const std::string& reason, Teller teller)
{
  const std::string file = path.string() + ": ";
  if (teller == Teller::script)
    surroundings_.messages.show(title().view(), file + reason);
  else
    show(file + UTranslator::text(reason.c_str()));
  return false;
}

} // namespace orbi
