#include "orbitool/readable.h"

#include <algorithm>
#include <iterator>

namespace orbi {

namespace {

constexpr int64_t deepestIndent = 40;

// 0x80 to 0x9F in Windows-1252; 0 where it has no character.
constexpr uint16_t windowsCharacters[] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178,
};
static_assert(std::size(windowsCharacters) == 32);

struct LengthOfLead {
  uint8_t mask;
  uint8_t lead;
  size_t length;
  uint32_t smallest; ///< code that needs the length
};
constexpr LengthOfLead lengths[] = {
    {0x80, 0x00, 1, 0},
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
};

/// The character of UTF-8 at the start of a text; its length is 0 for none.
struct Character {
  uint32_t code = 0;
  size_t length = 0;
};
Character characterAt(std::string_view text)
{
  const auto lead = static_cast<uint8_t>(text.front());
  for (const LengthOfLead& row : lengths) {
    if ((lead & row.mask) != row.lead)
      continue;
    if (text.size() < row.length)
      return {};
    uint32_t code = lead & static_cast<uint8_t>(~row.mask);
    for (size_t i = 1; i < row.length; ++i) {
      const auto next = static_cast<uint8_t>(text[i]);
      if ((next & 0xC0) != 0x80)
        return {};
      code = code << 6 | (next & 0x3F);
    }
    const bool isSurrogate = code >= 0xD800 && code < 0xE000;
    return code < row.smallest || code > 0x10FFFF || isSurrogate ? Character{}
                                                                 : Character{code, row.length};
  }
  return {};
}

bool isUtf8(std::string_view text)
{
  while (!text.empty()) {
    const size_t length = characterAt(text).length;
    if (length == 0)
      return false;
    text.remove_prefix(length);
  }
  return true;
}

Character windowsCharacter(std::string_view text)
{
  const auto byte = static_cast<uint8_t>(text.front());
  const uint32_t code = byte >= 0x80 && byte < 0xA0 ? windowsCharacters[byte - 0x80] : byte;
  return {code ? code : byte, 1};
}

void appendUtf8(std::string& to, uint32_t code)
{
  if (code < 0x80) {
    to += static_cast<char>(code);
    return;
  }
  const size_t length = code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
  to += static_cast<char>(lengths[length - 1].lead | code >> (6 * (length - 1)));
  for (size_t i = length - 1; i-- > 0;)
    to += static_cast<char>(0x80 | (code >> (6 * i) & 0x3F));
}

void appendControl(std::string& to, uint32_t code)
{
  constexpr const char* digits = "0123456789ABCDEF";
  to += '\\';
  if (code == '\n' || code == '\r' || code == '\t') {
    to += code == '\n' ? 'n' : code == '\r' ? 'r' : 't';
    return;
  }
  to += 'x';
  to += digits[code >> 4 & 15];
  to += digits[code & 15];
}

void appendReadable(std::string& to, std::string_view text, std::string_view escaped)
{
  const bool isPlain = isUtf8(text);
  while (!text.empty()) {
    const Character character = isPlain ? characterAt(text) : windowsCharacter(text);
    text.remove_prefix(character.length);
    const uint32_t code = character.code;
    if (code < 0x20 || (code >= 0x7F && code < 0xA0)) {
      appendControl(to, code);
      continue;
    }
    if (code < 0x80 && escaped.find(static_cast<char>(code)) != escaped.npos)
      to += '\\';
    appendUtf8(to, code);
  }
}

} // namespace

std::string readable(std::string_view text)
{
  std::string result;
  appendReadable(result, text, {});
  return result;
}

std::string inQuotes(std::string_view text)
{
  std::string result = "\"";
  appendReadable(result, text, "\"\\");
  return result + '"';
}

std::string counted(int64_t count, const char* one, const char* many)
{
  return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

void printBytes(std::ostream& out, std::string_view bytes)
{
  constexpr size_t bytesShown = 16;
  constexpr const char* digits = "0123456789ABCDEF";
  out << ", " << counted(static_cast<int64_t>(bytes.size()), "byte", "bytes");
  for (size_t i = 0; i < std::min(bytes.size(), bytesShown); ++i) {
    const auto byte = static_cast<uint8_t>(bytes[i]);
    out << (i == 0 ? ": " : " ") << digits[byte >> 4] << digits[byte & 15];
  }
  out << (bytes.size() > bytesShown ? " ...\n" : "\n");
}

std::ostream& startLine(std::ostream& out, int64_t depth)
{
  constexpr std::string_view blanks = "                                                            "
                                      "                    ";
  static_assert(blanks.size() == deepestIndent * 2);
  out << blanks.substr(0, static_cast<size_t>(std::min(depth, deepestIndent)) * 2);
  if (depth > deepestIndent)
    out << '[' << depth << "] ";
  return out;
}

void printFault(std::ostream& err, std::string_view file, const Fault& fault)
{
  err << readable(file) << ": ";
  if (fault.line > 0)
    err << "line " << fault.line << ": ";
  err << readable(fault.reason) << '\n';
}

} // namespace orbi
