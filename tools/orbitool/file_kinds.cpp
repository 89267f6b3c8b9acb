#include "orbitool/file_kinds.h"

#include "host/song.h"
#include "orbitool/archive_file.h"
#include "orbitool/object_file.h"
#include "orbitool/program_view.h"
#include "orbitool/translation_file.h"
#include "orbitool/tree_view.h"

namespace orbi {

namespace {

// Object files

std::optional<Fault> checkXml(const SourceFile& file)
{
  Fault fault;
  return readXmlFile(file.bytes, fault) ? std::nullopt : std::optional(fault);
}

std::optional<Fault> checkBinary(const SourceFile& file)
{
  Fault fault;
  const std::optional<ObjectFile> read = readBinaryFile(file.bytes, fault);
  if (!read)
    return fault;
  return read->leftOut.empty() ? std::nullopt : std::optional(Fault{read->leftOut.front()});
}

void printRoots(const ObjectFile& file, std::ostream& out)
{
  TreeView view(out);
  if (FAttributes* tree = file.oneRoot())
    return view.print(*tree, 1);
  for (uint32_t i = 0; i < file.byReference->count(); ++i) {
    const FStringIDAttribute& root = *file.byReference->at(i);
    startLine(out, 1) << "root " << readable(root.key().view()) << ", by reference\n";
    view.printObject("", root.asObject(), 2);
  }
  for (uint32_t i = 0; i < file.inlineRoots->count(); ++i) {
    const FStringIDAttribute& root = *file.inlineRoots->at(i);
    startLine(out, 1) << "root " << readable(root.key().view()) << '\n';
    if (auto* tree = castTo<FAttributes>(root.asObject()))
      view.print(*tree, 2);
  }
}

using ReadObjectFile = std::optional<ObjectFile> (*)(std::string_view, Fault&);

template <ReadObjectFile read>
std::optional<Fault> showObjectFile(const SourceFile& source, std::ostream& out)
{
  Fault fault;
  const std::optional<ObjectFile> file = read(source.bytes, fault);
  if (!file)
    return fault;
  out << source.kind->name;
  if (file->isOneRoot || read == &readXmlFile)
    out << ", root tag " << readable(file->rootTag);
  out << '\n';
  printRoots(*file, out);
  return std::nullopt;
}

// Translations

std::optional<Fault> checkTranslation(const SourceFile& file)
{
  Fault fault;
  return readTranslationFile(file.bytes, fault) ? std::nullopt : std::optional(fault);
}

std::optional<Fault> showTranslation(const SourceFile& source, std::ostream& out)
{
  Fault fault;
  const std::optional<TranslationFile> file = readTranslationFile(source.bytes, fault);
  if (!file)
    return fault;
  out << source.kind->name << '\n';
  printTranslations(out, *file);
  return std::nullopt;
}

// Archives

std::optional<Fault> checkArchive(const SourceFile& file)
{
  Fault fault;
  Ref<FResourceArchive> archive = openArchive(file.path, fault);
  return archive ? faultOfEntries(*archive) : fault;
}

std::optional<Fault> showArchive(const SourceFile& file, std::ostream& out)
{
  Fault fault;
  Ref<FResourceArchive> archive = openArchive(file.path, fault);
  if (!archive)
    return fault;
  printArchive(out, *archive);
  return std::nullopt;
}

// Programs and banks

/// What it holds borrows the bytes.
std::optional<ParsedProgramFile> openProgram(const SourceFile& file, std::string& bytes,
                                             Fault& fault)
{
  ProgramFileFault wrong;
  std::optional<ParsedProgramFile> parsed;
  if (std::optional<std::string> read = readProgramFile(file.path, wrong)) {
    bytes = std::move(*read);
    parsed = parseProgramFile(bytes, wrong);
  }
  fault.reason = wrong.text();
  return parsed;
}

std::optional<Fault> checkProgram(const SourceFile& file)
{
  Fault fault;
  std::string bytes;
  const std::optional<ParsedProgramFile> read = openProgram(file, bytes, fault);
  if (!read)
    return fault;
  return read->oddity ? std::optional(Fault{read->oddity->text()}) : std::nullopt;
}

std::optional<Fault> showProgram(const SourceFile& file, std::ostream& out)
{
  Fault fault;
  std::string bytes;
  const std::optional<ParsedProgramFile> read = openProgram(file, bytes, fault);
  if (!read)
    return fault;
  printProgramFile(out, *read);
  return std::nullopt;
}

// Songs

std::optional<Fault> checkSong(const SourceFile& file)
{
  std::string reason;
  if (readSong(file.path, reason))
    return std::nullopt;
  return Fault{reason};
}

constexpr FileKind kinds[] = {
    {"translation file", "xml", "LanguageTable StringTable", true, checkTranslation,
     showTranslation},
    {"skin", "xml", "skin", true, nullptr, nullptr},
    {"XML object file", "xml pxml", "", true, checkXml, showObjectFile<readXmlFile>},
    {"binary object file", "bin", "", true, checkBinary, showObjectFile<readBinaryFile>},
    {"resource archive", "qrf", "", false, checkArchive, showArchive},
    {"program", "fxp", "", false, checkProgram, showProgram},
    {"bank", "fxb", "", false, checkProgram, showProgram},
    {"MIDI file", "mid", "", false, checkSong, nullptr},
};

/// Whether the word is one of those in a list with blanks between.
bool isAmong(std::string_view list, std::string_view word)
{
  while (!list.empty()) {
    const size_t end = std::min(list.find(' '), list.size());
    if (list.substr(0, end) == word)
      return true;
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return false;
}

std::string allExtensions()
{
  std::string all;
  std::string_view last;
  for (const FileKind& kind : kinds) {
    if (kind.extensions != last && kind.firstElements.empty())
      all += (all.empty() ? "" : " ") + std::string(kind.extensions);
    last = kind.extensions;
  }
  return all;
}

const FileKind* findKind(std::string_view extension)
{
  for (const FileKind& kind : kinds)
    if (isAmong(kind.extensions, extension))
      return &kind;
  return nullptr;
}

const FileKind* findKind(std::string_view extension, std::string_view firstElement)
{
  for (const FileKind& kind : kinds)
    if (isAmong(kind.extensions, extension) &&
        (kind.firstElements.empty() || isAmong(kind.firstElements, firstElement)))
      return &kind;
  return nullptr;
}

Fault refusal(const FileKind& kind, const char* what)
{
  return {"is a " + std::string(kind.name) + ", which can't be " + what};
}

} // namespace

bool SourceFile::isObjectFile() const
{
  return kind->check == checkXml || kind->check == checkBinary;
}

std::optional<SourceFile> openSource(const std::filesystem::path& path, Fault& fault)
{
  if (std::optional<Fault> wrong = faultOfPath(path)) {
    fault = *wrong;
    return std::nullopt;
  }
  const std::string extension = extensionOf(path);
  SourceFile file{path, findKind(extension), {}};
  if (!file.kind) {
    fault = {"is of no known kind (known extensions: " + allExtensions() + ")"};
    return std::nullopt;
  }
  if (!file.kind->isReadWhole)
    return file;
  std::optional<std::string> bytes = readWhole(path, fault);
  if (!bytes)
    return std::nullopt;
  file.bytes = std::move(*bytes);
  if (!file.kind->firstElements.empty())
    file.kind = findKind(extension, firstElementOf(file.bytes));
  return file;
}

std::optional<Fault> checkFile(const std::filesystem::path& path)
{
  Fault fault;
  const std::optional<SourceFile> file = openSource(path, fault);
  if (!file)
    return fault;
  return file->kind->check ? file->kind->check(*file) : refusal(*file->kind, "checked yet");
}

std::optional<Fault> showFile(const std::filesystem::path& path, std::ostream& out)
{
  Fault fault;
  const std::optional<SourceFile> file = openSource(path, fault);
  if (!file)
    return fault;
  return file->kind->show ? file->kind->show(*file, out) : refusal(*file->kind, "shown");
}

} // namespace orbi
