#include "studio/studio_texts.h"

#include "persist/translator.h"
#include "persist/user_message.h"

#include <string>

namespace orbi {

void tellUser(const char* text, const CmString& name)
{
  std::string shown = UTranslator::filled(text, name.view());
  if (shown.size() > longestAlert) {
    size_t end = longestAlert;
    while (end > 0 && (static_cast<uint8_t>(shown[end]) & 0xC0) == 0x80) // within a character
      --end;
    shown.resize(end);
  }
  FUserMessage::tell(shown);
}

} // namespace orbi
