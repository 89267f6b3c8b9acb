#include "host/program_file.h"

#include "host/program_format.h"
#include "persist/whole_file.h"

#include <algorithm>
#include <bit>
#include <new>

namespace orbi {

using namespace programFormat;

namespace {

constexpr size_t wordBytes = 4;
constexpr int64_t largestFile = INT32_MAX; ///< the most that a size in it can tell
/// Up to where a size or a count tells how much has to follow.
constexpr int64_t startBytes = headerBytes + reservedBytes + int64_t(wordBytes);

int32_t wordAt(std::string_view bytes, size_t place)
{
  uint32_t word = 0;
  for (size_t i = 0; i < wordBytes; ++i)
    word = word << 8 | static_cast<uint8_t>(bytes[place + i]);
  return static_cast<int32_t>(word);
}

class Parser {
public:
  /// The file may be larger than the bytes of it that are at hand.
  Parser(std::string_view bytes, int64_t fileBytes, ProgramFileFault& fault)
      : bytes_(bytes), fileBytes_(fileBytes), fault_(fault)
  {
  }

  std::optional<ParsedProgramFile> parse();
  bool wantsMore() const { return wantsMore_; } ///< it stopped at bytes that aren't at hand

private:
  bool parseAny();
  bool parseHeader(ProgramHeader& header);
  bool parseProgram(const ProgramHeader& header, size_t start);
  bool parsePrograms(int32_t count);
  bool parseChunk(std::string_view& chunk);
  bool take(int64_t count, std::string_view& part);
  bool takeWord(int32_t& word);
  bool fail(const std::string& reason, size_t byte);
  void remark(const std::string& reason, size_t byte);
  void compareSize(size_t start);

  std::string_view bytes_;
  int64_t fileBytes_;
  size_t place_ = 0;
  bool wantsMore_ = false;
  ParsedProgramFile file_;
  ProgramFileFault& fault_;
};

bool Parser::fail(const std::string& reason, size_t byte)
{
  fault_ = {reason, static_cast<int64_t>(byte)};
  return false;
}

void Parser::remark(const std::string& reason, size_t byte)
{
  if (!file_.oddity)
    file_.oddity = {reason, static_cast<int64_t>(byte)};
}

bool Parser::take(int64_t count, std::string_view& part)
{
  const int64_t left = fileBytes_ - static_cast<int64_t>(place_);
  if (count > left)
    return fail("is cut short, " + std::to_string(count - left) + " of " + std::to_string(count) +
                    " bytes are missing",
                place_);
  wantsMore_ = count > static_cast<int64_t>(bytes_.size() - place_);
  if (wantsMore_)
    return false;
  part = bytes_.substr(place_, static_cast<size_t>(count));
  place_ += part.size();
  return true;
}

bool Parser::takeWord(int32_t& word)
{
  std::string_view part;
  if (!take(wordBytes, part))
    return false;
  word = wordAt(part, 0);
  return true;
}

std::optional<ParsedProgramFile> Parser::parse()
{
  if (!parseAny())
    return std::nullopt;
  if (place_ < bytes_.size())
    remark("something stands behind its end", place_);
  return std::move(file_);
}

bool Parser::parseAny()
{
  ProgramHeader header{};
  std::string_view reserved;
  if (!parseHeader(header))
    return false;
  if (header.form == parameterProgram || header.form == chunkProgram)
    return parseProgram(header, 0);
  if (header.form != parameterBank && header.form != chunkBank)
    return fail("is neither a program nor a bank", sizeEnd);
  if (!take(reservedBytes, reserved))
    return false;
  if (header.form == chunkBank ? !parseChunk(header.chunk) : !parsePrograms(header.count))
    return false;
  file_.bank = header;
  compareSize(0);
  return true;
}

bool Parser::parseHeader(ProgramHeader& header)
{
  const size_t start = place_;
  int32_t magic = 0, size = 0;
  if (!takeWord(magic))
    return false;
  if (magic != chunkMagic)
    return fail("is neither a program nor a bank", start);
  if (!takeWord(size) || !takeWord(header.form) || !takeWord(header.formatVersion) ||
      !takeWord(header.pluginId) || !takeWord(header.pluginVersion) || !takeWord(header.count))
    return false;
  if (header.count < 0) {
    remark("tells of " + std::to_string(header.count) + " items", place_ - wordBytes);
    header.count = 0;
  }
  if (header.formatVersion != version)
    remark("is of the unknown version " + std::to_string(header.formatVersion),
           start + sizeEnd + wordBytes);
  return true;
}

bool Parser::parseProgram(const ProgramHeader& header, size_t start)
{
  ParsedProgram program{header, {}, {}};
  if (!take(nameBytes, program.name))
    return false;
  program.name.remove_suffix(1); // a zero, or taken for one
  program.name = program.name.substr(0, program.name.find('\0'));
  if (header.form == chunkProgram ? !parseChunk(program.chunk)
                                  : !take(header.count * parameterBytes, program.parameters))
    return false;
  file_.programs.push_back(program);
  compareSize(start);
  return true;
}

bool Parser::parsePrograms(int32_t count)
{
  for (int32_t i = 0; i < count; ++i) {
    const size_t start = place_;
    ProgramHeader header{};
    if (!parseHeader(header))
      return false;
    if (header.form != parameterProgram && header.form != chunkProgram)
      return fail("holds something else in the place of program " + std::to_string(i),
                  start + sizeEnd);
    if (!parseProgram(header, start))
      return false;
  }
  return true;
}

bool Parser::parseChunk(std::string_view& chunk)
{
  int32_t size = 0;
  if (!takeWord(size))
    return false;
  if (size < 0)
    remark("tells of " + std::to_string(size) + " bytes of data", place_ - wordBytes);
  return take(std::max(size, 0), chunk);
}

/// The size of what began at start and ends here.
void Parser::compareSize(size_t start)
{
  const auto told = static_cast<uint32_t>(wordAt(bytes_, start + wordBytes));
  if (told != place_ - start - sizeEnd)
    remark("tells of " + std::to_string(told) + " bytes instead of " +
               std::to_string(place_ - start - sizeEnd),
           start + wordBytes);
}

} // namespace

std::string ProgramFileFault::text() const
{
  return byte ? reason + " (byte " + std::to_string(*byte) + ")" : reason;
}

float ParsedProgram::parameter(int32_t index) const
{
  return std::bit_cast<float>(wordAt(parameters, static_cast<size_t>(index) * parameterBytes));
}

std::optional<ParsedProgramFile> parseProgramFile(std::string_view bytes, ProgramFileFault& fault)
{
  try {
    return Parser(bytes, static_cast<int64_t>(bytes.size()), fault).parse();
  } catch (const std::bad_alloc&) {
    fault = {"holds more programs than the memory that is left", {}};
    return std::nullopt;
  }
}

std::optional<std::string> readProgramFile(const std::filesystem::path& path,
                                           ProgramFileFault& fault)
{
  fault = {};
  const std::optional<FileStart> start = readFileStart(path, startBytes, fault.reason);
  if (!start)
    return std::nullopt;
  Parser parser(start->bytes, start->fileBytes, fault);
  if (!parser.parse() && !parser.wantsMore())
    return std::nullopt;
  fault = {};
  return readWholeFile(path, largestFile, fault.reason);
}

} // namespace orbi
