#include "platform/utf8_text.h"

#include <cstdint>

namespace orbi::platform {

namespace {

/// By the character's first byte: how many there are, and what the second may be, which shuts out
/// overlong forms, surrogates and what lies above the last character.
struct Lead {
  uint8_t first, last;
  uint8_t length;
  uint8_t lowest, highest;
};

constexpr Lead leads[] = {
    {0x01, 0x7f, 1, 0, 0},       {0xc2, 0xdf, 2, 0x80, 0xbf}, {0xe0, 0xe0, 3, 0xa0, 0xbf},
    {0xe1, 0xec, 3, 0x80, 0xbf}, {0xed, 0xed, 3, 0x80, 0x9f}, {0xee, 0xef, 3, 0x80, 0xbf},
    {0xf0, 0xf0, 4, 0x90, 0xbf}, {0xf1, 0xf3, 4, 0x80, 0xbf}, {0xf4, 0xf4, 4, 0x80, 0x8f},
};

} // namespace

std::size_t utf8Length(std::string_view text)
{
  const auto byte = [&](std::size_t i) { return static_cast<uint8_t>(text[i]); };
  for (const Lead& lead : leads) {
    if (text.empty() || byte(0) < lead.first || byte(0) > lead.last)
      continue;
    if (text.size() < lead.length ||
        (lead.length > 1 && (byte(1) < lead.lowest || byte(1) > lead.highest)))
      return 0;
    for (std::size_t i = 2; i < lead.length; ++i)
      if ((byte(i) & 0xc0) != 0x80)
        return 0;
    return lead.length;
  }
  return 0;
}

std::string validUtf8(std::string_view text)
{
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = utf8Length(text);
    if (length > 0)
      result += text.substr(0, length);
    else
      result += "\xef\xbf\xbd";
    text.remove_prefix(length > 0 ? length : 1);
  }
  return result;
}

} // namespace orbi::platform
