#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orbi {

/// Takes what a translation file holds.
class TranslationTarget {
public:
  virtual void addLanguage(std::string_view code, std::string_view name) = 0;
  virtual void addPair(std::string_view language, std::string_view key,
                       std::string_view translation) = 0;

protected:
  ~TranslationTarget() = default;
};

/// The table that is part of the program: the texts of the framework's own dialogs.
std::string_view builtInTranslations();

/// Reads one translation file, held in memory, into a translator or another target. The format
/// looks like XML but is much less: tables, elements with attributes in double quotes, text in
/// which a backslash escapes. Elements nest no deeper than the tables do, so the recursion is a few
/// levels deep whatever the file holds.
class TranslationParser {
public:
  // What doesn't fit is a fault. In bytes, without the terminator.
  static constexpr size_t longestName = 255;
  static constexpr size_t longestValue = 4095;
  static constexpr size_t longestComment = 40959; ///< of instructions, too
  static constexpr size_t mostAttributes = 64;

  TranslationParser(TranslationTarget& target, std::string_view text);

  bool parse();                                 ///< false: fault() tells why the rest wasn't read
  const char* fault() const { return fault_; }  ///< null for none
  bool isCut() const { return isCut_; }         ///< the text ended with elements open
  size_t position() const { return position_; } ///< of the fault, in bytes from the start
  std::string message() const; ///< the fault for the user, with the piece of text around it

private:
  struct Attribute {
    std::string_view name;
    std::string value;
  };
  struct Element {
    std::string_view name;
    std::vector<Attribute> attributes;
    bool isEmpty = false; ///< "<name/>"
  };
  /// What a tag means where it stands, and what its end takes back.
  enum class Role { languageTable, language, stringTable, string, translation, none };

  // Syntax
  bool parseContent(const Element* open);
  bool parseTag();
  bool parseEndTag(const Element* open);
  bool parseDeclaration();
  bool skipUntil(std::string_view end, const char* tooLong, const char* notClosed);
  bool parseElement();
  bool parseAttributes(Element& element);
  bool parseAttribute(Element& element);
  bool parseName(std::string_view& name);
  bool parseRawText();
  std::string unescaped(std::string_view stops, size_t longest);
  void skipBlanks();
  bool lookingAt(std::string_view what) const { return rest().starts_with(what); }
  std::string_view rest() const { return text_.substr(position_); }
  bool atEnd() const { return position_ >= text_.size(); }
  bool fail(const char* fault);

  // Meaning
  Role enter(const Element& element);
  Role enterInLanguageTable(const Element& element);
  Role enterInStringTable(const Element& element);
  Role enterString(const Element& element);
  void leave(Role role);
  bool takeText(const std::string& text);
  Role refuse(const char* fault);

  TranslationTarget& target_;
  std::string_view text_;
  size_t position_ = 0;
  const char* fault_ = nullptr;
  bool isCut_ = false;

  // Where the parser stands, set and cleared by each level
  bool inLanguageTable_ = false;
  bool inStringTable_ = false;
  bool hasLanguage_ = false;
  bool hasKey_ = false;
  bool inTranslation_ = false;
  std::string language_;
  std::string key_;
};

} // namespace orbi
