#include "orbitool/program_view.h"

#include "host/program_format.h"
#include "orbitool/readable.h"

#include <iomanip>

namespace orbi {

namespace {

/// As a number and as the four letters that it mostly is.
void printId(std::ostream& out, int32_t id)
{
  const auto number = static_cast<uint32_t>(id);
  std::string letters;
  for (int shift = 24; shift >= 0; shift -= 8)
    letters += static_cast<char>(number >> shift);
  const std::ios::fmtflags before = out.flags();
  out << "plug-in 0x" << std::hex << std::uppercase << std::setw(8) << std::setfill('0') << number;
  out.flags(before);
  out << std::setfill(' ') << ' ' << inQuotes(letters);
}

bool isChunk(const ProgramHeader& header)
{
  return header.form == programFormat::chunkProgram || header.form == programFormat::chunkBank;
}

void printHeader(std::ostream& out, const ProgramHeader& header)
{
  printId(out << ", ", header.pluginId);
  out << ", version " << header.pluginVersion << '\n';
}

void printProgram(std::ostream& out, const ParsedProgram& program, int64_t depth)
{
  printHeader(startLine(out, depth) << "program " << inQuotes(program.name), program);
  if (isChunk(program))
    printBytes(startLine(out, depth + 1) << "data", program.chunk);
  else
    for (int32_t i = 0; i < program.count; ++i)
      startLine(out, depth + 1) << "parameter " << i << " = " << program.parameter(i) << '\n';
}

} // namespace

void printProgramFile(std::ostream& out, const ParsedProgramFile& file)
{
  if (!file.bank)
    return printProgram(out, file.programs.front(), 0);
  printHeader(out << "bank of " << counted(file.bank->count, "program", "programs"), *file.bank);
  if (isChunk(*file.bank))
    return printBytes(startLine(out, 1) << "data", file.bank->chunk);
  for (const ParsedProgram& program : file.programs)
    printProgram(out, program, 1);
}

} // namespace orbi
