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

// By words: up to the next one's end, back to the last one's begin
size_t nextWord(std::string_view text, size_t at);
size_t previousWord(std::string_view text, size_t at);

} // namespace orbi
