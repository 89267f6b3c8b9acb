#include "persist/translation_parser.h"
#include "persist/translator.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

using namespace orbi;

namespace {

void require(bool condition)
{
  if (!condition)
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
  UTranslator translator;
  const std::string text(reinterpret_cast<const char*>(bytes), count);
  translator.setLanguage("de");
  TranslationParser parser(translator, text);
  const bool whole = parser.parse();
  require(whole == (parser.fault() == nullptr));
  if (!whole) {
    // Two lines of words, the marker, and no more of the file than fits.
    const std::string message = parser.message();
    require(message.find(parser.fault()) == 45);
    require(message.size() <= 45 + 100 + 300 + 24 + 200);
  }
  require(translator.languages().size() <= 26 * 26);
  for (const char* key : {"OK", "Open", "About %s"})
    require(translator.translate(key) != nullptr);
  require(translator.menuNames().size() >= 1 &&
          translator.currentMenuIndex() < translator.menuNames().size());
  return 0;
}
