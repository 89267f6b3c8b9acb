#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orbi {

/// What is wrong with a file, and where.
struct ProgramFileFault {
  std::string reason;
  std::optional<int64_t> byte; ///< from the start of the file; none for the file as a whole

  std::string text() const; ///< "reason (byte N)"
};

/// What stands before the content of a program or a bank. Texts lie in the bytes that were parsed.
struct ProgramHeader {
  int32_t form; ///< programFormat::Magic
  int32_t formatVersion;
  int32_t pluginId;
  int32_t pluginVersion;
  int32_t count;          ///< parameters of a program, programs of a bank
  std::string_view chunk; ///< the plug-in's own bytes
};

struct ParsedProgram : ProgramHeader {
  std::string_view name;
  std::string_view parameters; ///< count of them, as in the file

  float parameter(int32_t index) const;
};

/// A file of a program or a bank, without a plug-in that it could go to.
struct ParsedProgramFile {
  std::optional<ProgramHeader> bank;
  std::vector<ParsedProgram> programs; ///< of a bank of parameters, or the one
  /// What is wrong with the file and keeps nobody from reading it.
  std::optional<ProgramFileFault> oddity;
};

/// Nothing unless all of the bytes that a plug-in would be given are there. Borrows the bytes.
std::optional<ParsedProgramFile> parseProgramFile(std::string_view bytes, ProgramFileFault& fault);

/// The bytes of such a file; nothing, and the fault, when it can't be read. Its beginning is looked
/// at first, so that no memory is taken for a file that is something else or is cut short.
std::optional<std::string> readProgramFile(const std::filesystem::path& path,
                                           ProgramFileFault& fault);

} // namespace orbi
