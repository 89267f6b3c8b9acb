// Files of programs and banks that are loaded and saved, and what is said of files.
#include "app/player_application.h"

#include "host/program_file.h"
#include "persist/file_dialog.h"

#include <algorithm>

namespace orbi {

namespace {

/// Whether it holds a bank; nothing when it isn't whole.
std::optional<bool> holdsBank(const std::filesystem::path& path, ProgramFileFault& fault)
{
  const std::optional<std::string> bytes = readProgramFile(path, fault);
  if (!bytes)
    return std::nullopt;
  const std::optional<ParsedProgramFile> file = parseProgramFile(*bytes, fault);
  return file ? std::optional(file->bank.has_value()) : std::nullopt;
}

/// A reason in the user's language, whose texts have "%s" in the place of each number.
std::string translated(const std::string& reason)
{
  constexpr const char* digits = "0123456789";
  std::string key;
  std::vector<std::string> numbers;
  for (size_t place = 0; place < reason.size();) {
    const size_t end = std::min(reason.find_first_not_of(digits, place), reason.size());
    if (end > place) {
      numbers.push_back(reason.substr(place, end - place));
      key += "%s";
    }
    place = std::min(reason.find_first_of(digits, end), reason.size());
    key.append(reason, end, place - end);
  }
  std::string text = UTranslator::text(key.c_str());
  size_t place = 0;
  for (const std::string& number : numbers) {
    place = text.find("%s", place);
    if (place == std::string::npos)
      return reason;
    text.replace(place, 2, number);
    place += number.size();
  }
  return text;
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
    return programsLoaded_ = loadProgramFile(*options_.file, Teller::user);
  }
  programsLoaded_ = !options_.file || !isProgramFile(*options_.file);
  return true;
}

/// A file that isn't whole doesn't reach the plug-in at all.
bool OrbiPlayerApplication::loadProgramFile(const std::filesystem::path& path, Teller teller)
{
  ProgramFileFault fault;
  const std::optional<bool> isBank = holdsBank(path, fault);
  if (!isBank)
    return tellTrouble(path, teller == Teller::script ? fault.text() : fault.reason, teller);
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
    printLine(file + reason);
  else
    show(file + translated(reason));
  return false;
}

} // namespace orbi
