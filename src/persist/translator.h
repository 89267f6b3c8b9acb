#pragma once

#include "foundation/string.h"
#include "persist/translation_parser.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace orbi {

class FStream;

/// Where the language that the user chose is kept.
class ULanguageSetting {
public:
  static constexpr const char* group = "General"; ///< of the settings, and the key in it
  static constexpr const char* key = "Language";

  virtual ~ULanguageSetting() = default;
  virtual std::string languageCode() const = 0; ///< empty: none was chosen
  virtual void setLanguageCode(std::string_view code) = 0;
};

/// A language of the language table.
struct ULanguage {
  std::string name; ///< as its speakers write it
  std::string code; ///< the first two letters count
};

/// Zero-terminated texts that stay where they are until the pool goes.
class UTextPool {
public:
  static constexpr size_t blockBytes = 40960;

  std::string_view add(std::string_view text); ///< a longer text gets a block of its own size
  size_t blockCount() const { return blocks_.size(); }

private:
  std::vector<std::unique_ptr<char[]>> blocks_;
  size_t used_ = blockBytes; ///< of the last block
};

/// Maps the English keys of the code and the skins to the texts of the user's language. Main
/// thread while it loads; afterwards it is only read, on any thread.
class UTranslator final : public TranslationTarget {
public:
  static constexpr const char* fileName = "translation.xml";
  static constexpr const char* builtInLanguage = "American English (built-in)";
  static constexpr const char* asianMark = "Language:Asia"; ///< a definition that skins ask for

  UTranslator(); ///< knows the built-in texts, in English
  ~UTranslator();
  UTranslator(const UTranslator&) = delete;
  UTranslator& operator=(const UTranslator&) = delete;

  static UTranslator* instance() { return instance_; }
  static const char* text(const char* key); ///< by the instance; the key itself without one
  /// The text with another one in the place of its "%s".
  static std::string filled(const char* key, std::string_view with);

  /// Chooses the language and loads the texts: in the language of the setting when the file names
  /// it, else in the system's. A missing file is none.
  void start(const ULanguageSetting* setting, std::string_view systemLanguage, FStream* file);

  // Loading. False after a fault, of which the user was told; what stood before it is kept.
  bool load(FStream& stream); ///< from its start
  bool load(std::string_view text);
  void addPair(std::string_view language, std::string_view key,
               std::string_view translation) override;
  void addRunTimePair(std::string_view key, std::string_view translation);

  /// The text of the key, which is the key itself when there is none. Null for null. The text lives
  /// as long as the translator.
  const char* translate(const char* key) const;

  // Languages
  const std::string& languageCode() const { return language_; }
  void setLanguage(std::string_view code); ///< drops the texts that were loaded
  void addLanguage(std::string_view code, std::string_view name) override; ///< or names one anew
  const std::vector<ULanguage>& languages() const { return languages_; }
  const ULanguage* findLanguage(std::string_view code) const;
  bool isAsian() const; ///< whether asianMark goes to the skins

  // The menu of languages
  std::vector<std::string> menuNames() const; ///< one at least
  size_t currentMenuIndex() const;
  /// Keeps the choice for the next start and tells the user so. False outside the menu.
  bool choose(size_t menuIndex, ULanguageSetting& setting) const;

  size_t textCount() const { return texts_.size(); } ///< in the current language

private:
  struct RunTimePair {
    std::string_view key;
    std::string_view translation;
  };
  enum class Faults { told, silent };

  bool parse(std::string_view text, Faults faults);

  static inline UTranslator* instance_ = nullptr;

  std::vector<ULanguage> languages_;
  std::string language_;
  std::unordered_map<std::string_view, std::string_view> texts_; ///< of the current language
  std::vector<RunTimePair> runTimePairs_;
  UTextPool pool_;
};

/// Whether two codes name the same language: their first two letters, without case.
bool isSameLanguage(std::string_view a, std::string_view b);

} // namespace orbi
