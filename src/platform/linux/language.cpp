#include "platform/language.h"

#include <cstdlib>
#include <string_view>

namespace orbi::platform {

/// In the order in which they count; the first that isn't empty decides.
constexpr const char* variables[] = {"LC_ALL", "LC_MESSAGES", "LANG"};

constexpr const char* fallback = "en";

static std::string_view chosenLocale()
{
  for (const char* variable : variables)
    if (const char* value = std::getenv(variable); value != nullptr && *value != '\0')
      return value;
  return {};
}

/// "de_DE.UTF-8@euro" is "de". "C" and "POSIX" are no languages, nor are codes of three letters any
/// that have two.
std::string systemLanguage()
{
  const std::string_view locale = chosenLocale();
  const std::string_view language = locale.substr(0, locale.find_first_of("_.@"));
  if (language.size() != 2)
    return fallback;
  std::string code;
  for (char c : language) {
    const char lower = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (lower < 'a' || lower > 'z')
      return fallback;
    code += lower;
  }
  return code;
}

} // namespace orbi::platform
