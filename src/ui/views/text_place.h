#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orbi {

// Walking UTF-8 text by characters. Places are byte offsets; a byte that belongs to no character
// counts as one of its own and reads as U+FFFD.

char32_t characterAt(std::string_view text, size_t at); ///< 0 at the end
size_t nextCharacter(std::string_view text, size_t at); ///< the end stays the end
size_t previousCharacter(std::string_view text, size_t at);
void appendCharacter(std::string& text, char32_t character);

/// Of Latin letters; signs of other scripts stay as they are.
constexpr char32_t upperLetter(char32_t c)
{
  const bool isLatin1 = c >= 0xE0 && c <= 0xFE && c != 0xF7;
  return (c >= 'a' && c <= 'z') || isLatin1 ? c - 32 : c;
}
constexpr bool isSameLetter(char32_t a, char32_t b)
{
  return upperLetter(a) == upperLetter(b);
}

// By words: up to the next one's end, back to the last one's begin
size_t nextWord(std::string_view text, size_t at);
size_t previousWord(std::string_view text, size_t at);

} // namespace orbi
