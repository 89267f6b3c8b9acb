// What a plug-in holds, in streams and files.
#include "host/plugin.h"

#include "foundation/block_stream_reader.h"
#include "foundation/memory_stream.h"
#include "host/plugin_host.h"
#include "host/program_reader.h"
#include "host/program_writer.h"
#include "persist/file_dialog.h"
#include "persist/translator.h"
#include "persist/whole_file.h"

#include <algorithm>

namespace orbi {

struct ProgramFileKind {
  FFileTypeRecord& type;
  const char* label; ///< of the type in dialogs; this and the titles are keys of the translation
  const char* saveTitle;
  const char* loadTitle;
  bool (ProgramWriter::*write)();
  int32_t (ProgramReader::*read)();
};

namespace {

constexpr int32_t notOpened = -1;
constexpr const char* noAnswer = "the plug-in doesn't answer any more";
constexpr const char* failed = "the plug-in failed";
constexpr int64_t mostReadAhead = 16 << 20; ///< bytes; a file is read at once up to this size

FFileTypeRecord programType("ORB Effect Program", "AFxP", "fxp",
                            "application/x-vnd.Quillmore-orb-effect-program");
FFileTypeRecord bankType("ORB Effect Bank", "AFxB", "fxb",
                         "application/x-vnd.Quillmore-orb-effect-bank");

const ProgramFileKind programKind = {programType,
                                     "Effect Program",
                                     "Save %s Program",
                                     "Open Effect Program",
                                     &ProgramWriter::writeProgram,
                                     &ProgramReader::readProgram};
const ProgramFileKind bankKind = {bankType,
                                  "Effect Bank",
                                  "Save %s Bank",
                                  "Open Effect Bank",
                                  &ProgramWriter::writeBank,
                                  &ProgramReader::readBank};

/// The plug-in may ask for the file for as long as this lives.
class FileInWork {
public:
  explicit FileInWork(const std::filesystem::path& path)
      : path_(path.is_absolute() ? path : absolute(path)), host_(OrbPluginHost::instance())
  {
    if (host_)
      host_->chunkFilePath = &path_;
  }
  ~FileInWork()
  {
    if (host_)
      host_->chunkFilePath = nullptr;
  }
  FileInWork(const FileInWork&) = delete;

private:
  static std::filesystem::path absolute(const std::filesystem::path& path)
  {
    std::error_code failure;
    std::filesystem::path whole = std::filesystem::absolute(path, failure);
    return failure ? path : whole;
  }

  std::filesystem::path path_;
  OrbPluginHost* host_;
};

std::optional<std::filesystem::path> askFor(FFileDialog& dialog, const ProgramFileKind& kind,
                                            const std::string& title, uint32_t mode)
{
  kind.type.type.description = UTranslator::text(kind.label);
  return dialog.ask({title, kind.type.type, mode});
}

} // namespace

// ---- streams ----

bool OrbPlugin::writeProgram(FStream& stream)
{
  return writeAs(programKind, stream);
}

bool OrbPlugin::writeBank(FStream& stream)
{
  return writeAs(bankKind, stream);
}

int32_t OrbPlugin::readProgram(FStream& stream)
{
  return readAs(programKind, stream);
}

int32_t OrbPlugin::readBank(FStream& stream)
{
  return readAs(bankKind, stream);
}

/// One that faulted in a block answers nothing any more, as it may still hold what a call for its
/// state would wait for. Leaves the words for that, or none.
bool OrbPlugin::mayBeAsked()
{
  fileFault_ = isAbandoned() ? noAnswer : hasFaulted() ? failed : nullptr;
  return !fileFault_;
}

bool OrbPlugin::writeAs(const ProgramFileKind& kind, FStream& stream)
{
  if (!mayBeAsked())
    return false;
  ProgramWriter writer(*this, stream);
  if (!(writer.*kind.write)()) {
    fileFault_ = writer.fault();
    return false;
  }
  return mayBeAsked(); // what it played meanwhile may have been its last
}

int32_t OrbPlugin::readAs(const ProgramFileKind& kind, FStream& stream)
{
  if (!mayBeAsked())
    return 0;
  ProgramReader reader(*this, stream);
  const int32_t result = (reader.*kind.read)();
  fileFault_ = reader.fault();
  return result;
}

// ---- files ----

int32_t OrbPlugin::savePlugProgramFile(FFileDialog& dialog)
{
  return saveFile(dialog, programKind);
}

int32_t OrbPlugin::loadProgramFile(FFileDialog& dialog)
{
  return loadFile(dialog, programKind);
}

int32_t OrbPlugin::saveBankFile(FFileDialog& dialog)
{
  fileFault_ = "the plug-in has no programs";
  return numPrograms() < 1 ? 0 : saveFile(dialog, bankKind);
}

int32_t OrbPlugin::loadBankFile(FFileDialog& dialog)
{
  return loadFile(dialog, bankKind);
}

/// The file is opened first, so that the plug-in isn't troubled for one that can't be written; the
/// content goes to memory first, so that its many small pieces become one.
int32_t OrbPlugin::saveFile(FFileDialog& dialog, const ProgramFileKind& kind)
{
  const auto path = askFor(dialog, kind, UTranslator::filled(kind.saveTitle, name_), openWrite);
  fileFault_ = nullptr;
  if (!path || !mayBeAsked())
    return 0;
  FFileReplacement file;
  if (!file.open(*path)) {
    fileFault_ = file.fault();
    return notOpened;
  }
  FMemoryStream content;
  {
    const FileInWork inWork(*path);
    if (!writeAs(kind, content))
      return 0;
  }
  file.stream().write(content.data(), content.size()); // what gets lost is told at the end
  if (!file.finish())
    fileFault_ = file.fault();
  return fileFault_ ? 0 : 1;
}

int32_t OrbPlugin::loadFile(FFileDialog& dialog, const ProgramFileKind& kind)
{
  const auto path = askFor(dialog, kind, UTranslator::text(kind.loadTitle), openRead);
  fileFault_ = nullptr;
  if (!path || !mayBeAsked())
    return 0;
  auto file = make<FFileStream>();
  fileFault_ = faultOfFile(*path);
  if (!fileFault_ && !file->open(*path, openRead))
    fileFault_ = "can't be opened";
  if (fileFault_)
    return notOpened;
  FBlockStreamReader stream(file.get(), std::clamp<int64_t>(file->size(), 1, mostReadAhead));
  const FileInWork inWork(*path);
  return readAs(kind, stream);
}

} // namespace orbi
