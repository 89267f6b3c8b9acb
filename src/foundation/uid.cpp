#include "foundation/uid.h"

#include "platform/random.h"

#include <cstdio>
#include <cstdlib>
#include <optional>

namespace orbi {

namespace {

constexpr const char* sourceFormats[] = {
    "INLINE_UID (0x%08X, 0x%08X, 0x%08X, 0x%08X)",
    "DECLARE_UID (0x%08X, 0x%08X, 0x%08X, 0x%08X)",
    "FUID (0x%08X, 0x%08X, 0x%08X, 0x%08X)",
    "DECLARE_CLASS_IID (Interface, 0x%08X, 0x%08X, 0x%08X, 0x%08X)",
};

/// In the order in which the plain and the registry form print the 16 bytes.
constexpr int plainOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};

std::optional<uint8_t> hexDigit(char c)
{
  if (c >= '0' && c <= '9')
    return static_cast<uint8_t>(c - '0');
  if (c >= 'A' && c <= 'F')
    return static_cast<uint8_t>(c - 'A' + 10);
  if (c >= 'a' && c <= 'f')
    return static_cast<uint8_t>(c - 'a' + 10);
  return std::nullopt;
}

/// The number that a "%x" scan finds in a piece of the text, 0 for none.
uint32_t scanHex(std::string_view piece)
{
  return static_cast<uint32_t>(std::strtoul(std::string(piece).c_str(), nullptr, 16));
}

void appendByte(std::string& text, uint8_t byte)
{
  constexpr char digits[] = "0123456789ABCDEF";
  text += digits[byte >> 4];
  text += digits[byte & 15];
}

} // namespace

std::array<uint32_t, 4> FUID::words() const
{
  auto word = [this](int b3, int b2, int b1, int b0) {
    return static_cast<uint32_t>(bytes_[size_t(b3)]) << 24 |
           static_cast<uint32_t>(bytes_[size_t(b2)]) << 16 |
           static_cast<uint32_t>(bytes_[size_t(b1)]) << 8 | bytes_[size_t(b0)];
  };
  return {word(3, 2, 1, 0), word(5, 4, 7, 6), word(8, 9, 10, 11), word(12, 13, 14, 15)};
}

std::string FUID::toPlainText() const
{
  std::string text;
  for (int index : plainOrder)
    appendByte(text, bytes_[size_t(index)]);
  return text;
}

bool FUID::fromPlainText(std::string_view text)
{
  if (text.size() != 32)
    return false;
  uint32_t b = scanHex(text.substr(8, 4)) << 16 | (scanHex(text.substr(12, 4)) & 0xFFFF);
  uint32_t tail[2] = {0, 0};
  for (size_t i = 0; i < 8; ++i)
    tail[i / 4] = tail[i / 4] << 8 | (scanHex(text.substr(16 + 2 * i, 2)) & 0xFF);
  *this = FUID(scanHex(text.substr(0, 8)), b, tail[0], tail[1]);
  return true;
}

std::string FUID::toByteText() const
{
  std::string text;
  for (uint8_t byte : bytes_)
    appendByte(text, byte);
  return text;
}

bool FUID::fromByteText(std::string_view text)
{
  for (size_t i = 0; i < text.size() && i < 32; ++i) {
    std::optional<uint8_t> digit = hexDigit(text[i]);
    uint8_t& byte = bytes_[i / 2];
    if (i % 2 == 0)
      byte = static_cast<uint8_t>(digit.value_or(0) << 4);
    else if (digit)
      byte = static_cast<uint8_t>(byte | *digit);
  }
  return true;
}

std::string FUID::toShortText() const
{
  std::string text;
  for (int first = 0; first < 128; first += 5) {
    int digit = 0;
    for (int bit = first; bit < first + 5 && bit < 128; ++bit)
      digit |= (bytes_[size_t(bit / 8)] >> (bit % 8) & 1) << (bit - first);
    text += static_cast<char>(digit < 10 ? '0' + digit : 'A' + digit - 10);
  }
  return text;
}

bool FUID::fromShortText(std::string_view text)
{
  if (text.size() != 26)
    return false;
  *this = FUID{};
  for (int bit = 0; bit < 128; ++bit) {
    char c = text[size_t(bit / 5)];
    int digit = c < 'A' ? c - 48 : c - 55;
    uint8_t& byte = bytes_[size_t(bit / 8)];
    byte = static_cast<uint8_t>(byte | (digit >> (bit % 5) & 1) << (bit % 8));
  }
  return true;
}

bool FUID::fromRegistryText(std::string_view text)
{
  constexpr std::string_view pattern = "{00000000-0000-0000-0000-000000000000}";
  if (text.size() != pattern.size())
    return false;
  std::array<uint8_t, 16> parsed{};
  size_t digits = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (pattern[i] != '0') {
      if (text[i] != pattern[i])
        return false;
      continue;
    }
    std::optional<uint8_t> digit = hexDigit(text[i]);
    if (!digit)
      return false;
    uint8_t& byte = parsed[size_t(plainOrder[digits / 2])];
    byte = static_cast<uint8_t>(byte << 4 | *digit);
    ++digits;
  }
  bytes_ = parsed;
  return true;
}

FUID FUID::generate()
{
  FUID made;
  platform::fillRandom(made.bytes_);
  made.bytes_[7] = static_cast<uint8_t>((made.bytes_[7] & 0x0F) | 0x40); // of the random sort
  made.bytes_[8] = static_cast<uint8_t>((made.bytes_[8] & 0x3F) | 0x80);
  return made;
}

void FUID::printSource(char* target, int style) const
{
  char own[100];
  char* out = target ? target : own;
  auto [a, b, c, d] = words();
  const char* format = sourceFormats[style >= 0 && style < 3 ? style : 3];
  std::snprintf(out, sizeof own, format, a, b, c, d);
  if (!target)
    std::fprintf(stderr, "%s\n", out);
}

} // namespace orbi
