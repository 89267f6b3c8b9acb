#include "ui/views/text_place.h"

#include <algorithm>
#include <cstdint>

namespace orbi {

namespace {

constexpr char32_t replacement = 0xFFFD;

struct Sequence {
  char32_t character;
  size_t bytes;
};

size_t bytesAnnounced(uint8_t lead)
{
  if (lead < 0x80)
    return 1;
  if (lead >= 0xC2 && lead < 0xE0)
    return 2;
  if (lead >= 0xE0 && lead < 0xF0)
    return 3;
  return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

bool isAllowed(char32_t character, size_t bytes)
{
  constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = character >= 0xD800 && character < 0xE000;
  return character >= smallest[bytes] && character <= 0x10FFFF && !isSurrogate;
}

Sequence sequenceAt(std::string_view text, size_t at)
{
  const auto lead = static_cast<uint8_t>(text[at]);
  const size_t bytes = bytesAnnounced(lead);
  if (bytes == 1)
    return {lead, 1};
  if (bytes == 0 || text.size() - at < bytes)
    return {replacement, 1};
  char32_t character = lead & (0x7Fu >> bytes);
  for (size_t i = 1; i < bytes; ++i) {
    const auto next = static_cast<uint8_t>(text[at + i]);
    if ((next & 0xC0) != 0x80)
      return {replacement, 1};
    character = character << 6 | (next & 0x3Fu);
  }
  return isAllowed(character, bytes) ? Sequence{character, bytes} : Sequence{replacement, 1};
}

bool isWordCharacter(std::string_view text, size_t at)
{
  const char32_t c = characterAt(text, at);
  return c >= 0x80 || c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
         (c >= 'a' && c <= 'z');
}

} // namespace

char32_t characterAt(std::string_view text, size_t at)
{
  return at < text.size() ? sequenceAt(text, at).character : 0;
}

size_t nextCharacter(std::string_view text, size_t at)
{
  return at < text.size() ? at + sequenceAt(text, at).bytes : text.size();
}

size_t previousCharacter(std::string_view text, size_t at)
{
  at = std::min(at, text.size());
  for (size_t bytes = std::min<size_t>(4, at); bytes > 1; --bytes)
    if (sequenceAt(text, at - bytes).bytes == bytes)
      return at - bytes;
  return at > 0 ? at - 1 : 0;
}

void appendCharacter(std::string& text, char32_t character)
{
  if (!isAllowed(character, 1))
    character = replacement;
  const auto byte = [&](char32_t value) { text += static_cast<char>(value); };
  if (character < 0x80) {
    byte(character);
    return;
  }
  const int following = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  constexpr char32_t leads[] = {0, 0xC0, 0xE0, 0xF0};
  byte(leads[following] | character >> (6 * following));
  for (int i = following - 1; i >= 0; --i)
    byte(0x80u | (character >> (6 * i) & 0x3Fu));
}

size_t nextWord(std::string_view text, size_t at)
{
  while (at < text.size() && !isWordCharacter(text, at))
    at = nextCharacter(text, at);
  while (at < text.size() && isWordCharacter(text, at))
    at = nextCharacter(text, at);
  return at;
}

size_t previousWord(std::string_view text, size_t at)
{
  while (at > 0 && !isWordCharacter(text, previousCharacter(text, at)))
    at = previousCharacter(text, at);
  while (at > 0 && isWordCharacter(text, previousCharacter(text, at)))
    at = previousCharacter(text, at);
  return at;
}

} // namespace orbi
