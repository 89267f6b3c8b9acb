#include "studio/studio_texts.h"

#include "persist/translator.h"
#include "persist/user_message.h"

#include <string>

namespace orbi {

/// A translation comes from a file, so it is no pattern for formatting.
void tellUser(const char* text, const CmString& name)
{
  constexpr std::string_view gap = "%s";
  std::string shown = UTranslator::text(text);
  if (const size_t place = shown.find(gap); place != shown.npos)
    shown.replace(place, gap.size(), name.view());
  if (shown.size() > longestAlert) {
    size_t end = longestAlert;
    while (end > 0 && (static_cast<uint8_t>(shown[end]) & 0xC0) == 0x80) // within a character
      --end;
    shown.resize(end);
  }
  FUserMessage::tell(shown);
}

} // namespace orbi
