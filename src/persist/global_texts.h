#pragma once

namespace orbi {

/// A key that the code uses again and again. The first use puts its translation in the place of the
/// key, so that another language takes a restart. A static of the file that uses it; main thread.
class UGlobalText {
public:
  constexpr explicit UGlobalText(const char* key) : text_(key), key_(key) {}
  UGlobalText(const UGlobalText&) = delete;

  const char* text();
  const char* key() const { return key_; }
  bool isTranslated() const { return translated_; }

private:
  friend class UTranslator;
  static void forgetTranslations(); ///< the translator goes, and with it the texts

  static inline UGlobalText* translatedOnes_ = nullptr;

  const char* text_;
  const char* key_;
  UGlobalText* nextTranslated_ = nullptr;
  bool translated_ = false;
};

/// The keys of the menus and of the page where the language is chosen.
namespace globalTexts {

inline constinit UGlobalText general{"General"};
inline constinit UGlobalText language{"Language"};
inline constinit UGlobalText languageMenu{"a language"};
inline constinit UGlobalText restart{
    "You must restart the application for the language switch to take effect."};

inline constinit UGlobalText file{"File"};
inline constinit UGlobalText preferences{"Preferences..."};
inline constinit UGlobalText saveProgram{"Save Program..."};
inline constinit UGlobalText loadProgram{"Load Program..."};
inline constinit UGlobalText saveBank{"Save Bank..."};
inline constinit UGlobalText saveAsDefaultBank{"Save as Default Bank"};
inline constinit UGlobalText loadBank{"Load Bank..."};
inline constinit UGlobalText resetMidi{"Reset MIDI"};
inline constinit UGlobalText quit{"Quit"};

inline constinit UGlobalText help{"Help"};
inline constinit UGlobalText helpItem{"Help..."};
inline constinit UGlobalText homePage{"Quillmore Home Page"};
inline constinit UGlobalText forum{"Users Forum"};
inline constinit UGlobalText updates{"Product Updates"};
inline constinit UGlobalText about{"About %s"};

} // namespace globalTexts

} // namespace orbi
