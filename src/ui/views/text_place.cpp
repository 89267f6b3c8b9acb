#include "ui/views/text_place.h"

#include "platform/utf8_text.h"

#include <algorithm>
#include <cstdint>

namespace orbi {

namespace {

constexpr char32_t replacement = 0xFFFD;

struct Sequence {
  char32_t character;
  size_t bytes;
};

Sequence sequenceAt(std::string_view text, size_t at)
{
  const size_t bytes = platform::utf8Length(text.substr(at));
  const auto lead = static_cast<uint8_t>(text[at]);
  if (bytes == 0)
    return {lead == 0 ? char32_t{0} : replacement, 1};
  char32_t character = bytes == 1 ? lead : lead & (0x7Fu >> bytes);
  for (size_t i = 1; i < bytes; ++i)
    character = character << 6 | (static_cast<uint8_t>(text[at + i]) & 0x3Fu);
  return {character, bytes};
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
  const bool isSurrogate = character >= 0xD800 && character < 0xE000;
  if (isSurrogate || character > 0x10FFFF)
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
