#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace orbi {

/// Named characters of XML texts. Texts are of 8 bits.

/// Appends the text as the value of an attribute: a character with a marked row becomes "&name;",
/// any other from 0x80 on "&#x..;".
void appendEscaped(std::string& to, std::string_view text);

/// The same into a block that has room for longestEscape bytes for each of the text; answers the
/// end.
char* writeEscaped(char* to, std::string_view text);
inline constexpr size_t longestEscape = 8;

size_t escapedLength(std::string_view text); ///< bytes that writeEscaped writes

/// Replaces "&name;", "&#xHH;" and "&#DD;" in place and answers the new length. What is no
/// character of 1 to 255 stays as it is.
size_t decodeEntities(char* text, size_t length);

/// How decodeXmlText treats what stands between tags.
enum XmlTextFlag : uint32_t {
  xmlTextJoinsLines = 1, ///< a line end becomes a blank, otherwise a line feed
  xmlTextEntities = 2    ///< entities are replaced
};

/// Text between tags without the blanks and tabs at the start of each line.
std::string decodeXmlText(std::string_view text, uint32_t flags);

} // namespace orbi
