#pragma once

#include "orbitool/files.h"

namespace orbi {

struct SourceFile;

/// A kind of file that the system knows.
struct FileKind {
  const char* name;
  std::string_view extensions;    ///< in lower case, with a blank between
  std::string_view firstElements; ///< of an .xml that is of this kind; empty for any
  bool isReadWhole;               ///< into SourceFile::bytes
  // Null: the kind is known and can't be dealt with.
  std::optional<Fault> (*check)(const SourceFile& file);
  std::optional<Fault> (*show)(const SourceFile& file, std::ostream& out);
};

struct SourceFile {
  std::filesystem::path path;
  const FileKind* kind = nullptr;
  std::string bytes;

  bool isObjectFile() const; ///< in any form
};

/// The file with its kind; nothing when it can't be read or is of no known kind.
std::optional<SourceFile> openSource(const std::filesystem::path& path, Fault& fault);

std::optional<Fault> checkFile(const std::filesystem::path& path);
std::optional<Fault> showFile(const std::filesystem::path& path, std::ostream& out);

} // namespace orbi
