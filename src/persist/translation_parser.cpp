#include "persist/translation_parser.h"

#include <algorithm>

namespace orbi {

namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr std::string_view languageTableTag = "LanguageTable";
constexpr std::string_view languageTag = "language";
constexpr std::string_view stringTableTag = "StringTable";
constexpr std::string_view stringTag = "String";

constexpr const char* badEndTag = "syntax error at end tag";
constexpr const char* unexpectedEndTag = "Non expected end tag";
constexpr const char* longComment = "Too int32 comment";
constexpr const char* openComment = "Non closed comment";
constexpr const char* unknownDeclaration = "Non supported '<!' tag";
constexpr const char* longInstruction = "Too int32 processing instruction";
constexpr const char* openInstruction = "Non closed processing instruction ( '<? ... ?>')";
constexpr const char* manyAttributes = "Too many attribute/value pairs";
constexpr const char* badAttribute = "Attribute field not valid";
constexpr const char* badName = "Name is not legal";
constexpr const char* longName = "Name too int32";
constexpr const char* badValue = "Attribute value invalid (or too int32)";
constexpr const char* noLanguageCode =
    "The language code is not set! Can't read a language name yet!";
constexpr const char* textOutside = "The context is not valid for raw text yet!";
constexpr const char* noKey = "The key is not set!";
constexpr const char* noLanguage = "The language is not set!";
constexpr const char* languageNeedsKey = "The language tag requires a single key/value pair!";
constexpr const char* wrongLanguageAttribute = "This tag doesnt support this attribute name!";
constexpr const char* nestedString = "The string key is already set!";
constexpr const char* stringNeedsKey =
    "The string tag requires a single 'key' attribute with value!";
constexpr const char* wrongStringAttribute = "The string tag doesn't support this attribute name!";
constexpr const char* keyFirst = "You must set the string key first!";
constexpr const char* attributesHere = "Attribute/value pairs are not supported in that context!";
constexpr const char* openTranslation = "You haven't finished the previous translation!";
constexpr const char* unknownTag = "This tag doesn't support attributes (or unknown tag)!";
constexpr const char* tagHere = "This tag is not supported in that context!";

bool isLetter(char c)
{
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool isNameCharacter(char c)
{
  return isLetter(c) || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.' || c == ':';
}

/// Within a character of several bytes?
bool isContinuation(char c)
{
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

} // namespace

TranslationParser::TranslationParser(TranslationTarget& target, std::string_view text)
    : target_(target), text_(text.substr(0, text.find('\0')))
{
  if (lookingAt("\xEF\xBB\xBF")) // editors of other systems put a mark before UTF-8
    position_ = 3;
}

bool TranslationParser::parse()
{
  return parseContent(nullptr);
}

bool TranslationParser::fail(const char* fault)
{
  fault_ = fault;
  return false;
}

std::string TranslationParser::message() const
{
  constexpr size_t bytesBefore = 300;
  constexpr size_t bytesAfter = 200;
  size_t start = position_ - std::min(position_, bytesBefore);
  size_t end = std::min(position_ + bytesAfter, text_.size());
  while (start < position_ && isContinuation(text_[start]))
    ++start;
  while (end > position_ && end < text_.size() && isContinuation(text_[end]))
    --end;
  std::string message = "An error occurred while parsing translation:\n";
  message += fault_ ? fault_ : "";
  message += '\n';
  message += text_.substr(start, position_ - start);
  message += "  <====== HERE ======  ";
  message += text_.substr(position_, end - position_);
  return message;
}

// Syntax

/// Everything up to the end tag of the open element, or of the file. A file may end anywhere
/// between tags; what it held until then counts.
bool TranslationParser::parseContent(const Element* open)
{
  for (;;) {
    skipBlanks();
    if (atEnd()) {
      isCut_ = isCut_ || open;
      return true;
    }
    if (lookingAt("</"))
      return parseEndTag(open);
    if (!(lookingAt("<") ? parseTag() : parseRawText()))
      return false;
  }
}

bool TranslationParser::parseTag()
{
  if (lookingAt("<!"))
    return parseDeclaration();
  if (!lookingAt("<?"))
    return parseElement();
  position_ += 2;
  return skipUntil("?>", longInstruction, openInstruction);
}

bool TranslationParser::parseEndTag(const Element* open)
{
  position_ += 2;
  std::string_view name;
  if (!parseName(name))
    return fail(badEndTag);
  skipBlanks();
  if (!lookingAt(">"))
    return fail(badEndTag);
  ++position_;
  return open && open->name == name ? true : fail(unexpectedEndTag);
}

bool TranslationParser::parseDeclaration()
{
  if (!lookingAt("<!--")) {
    position_ += 2;
    return fail(unknownDeclaration);
  }
  position_ += 4;
  return skipUntil("-->", longComment, openComment);
}

bool TranslationParser::skipUntil(std::string_view end, const char* tooLong, const char* notClosed)
{
  const size_t length = rest().substr(0, longestComment + end.size()).find(end);
  if (length != std::string_view::npos) {
    position_ += length + end.size();
    return true;
  }
  const bool isLong = rest().size() > longestComment;
  position_ += std::min(rest().size(), longestComment);
  return fail(isLong ? tooLong : notClosed);
}

bool TranslationParser::parseElement()
{
  ++position_;
  Element element;
  if (!parseName(element.name) || !parseAttributes(element))
    return false;
  const Role role = enter(element);
  if (role == Role::none || (!element.isEmpty && !parseContent(&element)))
    return false;
  leave(role);
  return true;
}

/// Up to and with the end of the tag.
bool TranslationParser::parseAttributes(Element& element)
{
  for (;;) {
    skipBlanks();
    element.isEmpty = lookingAt("/>");
    if (element.isEmpty || lookingAt(">")) {
      position_ += element.isEmpty ? 2 : 1;
      return true;
    }
    if (element.attributes.size() == mostAttributes)
      return fail(manyAttributes);
    if (!parseAttribute(element))
      return false;
  }
}

bool TranslationParser::parseAttribute(Element& element)
{
  Attribute attribute;
  if (atEnd() || !isLetter(rest().front()))
    return fail(badAttribute);
  if (!parseName(attribute.name))
    return false;
  skipBlanks();
  if (!lookingAt("="))
    return fail(badAttribute);
  ++position_;
  skipBlanks();
  if (!lookingAt("\""))
    return fail(badValue);
  ++position_;
  attribute.value = unescaped("\"", longestValue);
  if (attribute.value.size() > longestValue || !lookingAt("\""))
    return fail(badValue);
  ++position_;
  element.attributes.push_back(std::move(attribute));
  return true;
}

bool TranslationParser::parseName(std::string_view& name)
{
  if (atEnd() || !isLetter(rest().front()))
    return fail(badName);
  const size_t start = position_;
  while (!atEnd() && isNameCharacter(text_[position_]))
    if (++position_ - start > longestName)
      return fail(longName);
  name = text_.substr(start, position_ - start);
  return true;
}

/// The blanks before it are gone as those between tags; those behind it are part of it.
bool TranslationParser::parseRawText()
{
  return takeText(unescaped("<", text_.size()));
}

/// The text up to one of the stops, which isn't taken, or until it is too long.
std::string TranslationParser::unescaped(std::string_view stops, size_t longest)
{
  struct Escape {
    char code;
    char character;
  };
  constexpr Escape escapes[] = {{'"', '"'}, {'<', '<'}, {'\\', '\\'}, {'n', '\n'}, {'t', '\t'}};
  std::string text;
  for (; !atEnd() && text.size() <= longest; ++position_) {
    char c = text_[position_];
    if (stops.find(c) != std::string_view::npos)
      break;
    const char code = c == '\\' && rest().size() > 1 ? rest()[1] : '\0';
    for (const Escape& escape : escapes)
      if (escape.code == code) {
        c = escape.character;
        ++position_;
        break;
      }
    text += c;
  }
  return text;
}

void TranslationParser::skipBlanks()
{
  position_ = std::min(text_.find_first_not_of(blanks, position_), text_.size());
}

// Meaning

TranslationParser::Role TranslationParser::refuse(const char* fault)
{
  fail(fault);
  return Role::none;
}

TranslationParser::Role TranslationParser::enter(const Element& element)
{
  if (inLanguageTable_)
    return enterInLanguageTable(element);
  if (inStringTable_)
    return enterInStringTable(element);
  if (!element.attributes.empty())
    return refuse(unknownTag);
  if (element.name == languageTableTag) {
    inLanguageTable_ = true;
    return Role::languageTable;
  }
  if (element.name != stringTableTag)
    return refuse(unknownTag);
  inStringTable_ = true;
  return Role::stringTable;
}

TranslationParser::Role TranslationParser::enterInLanguageTable(const Element& element)
{
  if (hasLanguage_ || element.name != languageTag)
    return refuse(element.attributes.empty() || hasLanguage_ ? tagHere : attributesHere);
  if (element.attributes.size() != 1)
    return refuse(languageNeedsKey);
  if (element.attributes[0].name != "key")
    return refuse(wrongLanguageAttribute);
  language_ = element.attributes[0].value;
  hasLanguage_ = true;
  return Role::language;
}

TranslationParser::Role TranslationParser::enterInStringTable(const Element& element)
{
  if (element.name == stringTag)
    return enterString(element);
  if (!hasKey_)
    return refuse(keyFirst);
  if (!element.attributes.empty())
    return refuse(attributesHere);
  if (inTranslation_)
    return refuse(openTranslation);
  language_ = element.name;
  hasLanguage_ = true;
  inTranslation_ = true;
  return Role::translation;
}

TranslationParser::Role TranslationParser::enterString(const Element& element)
{
  if (hasKey_)
    return refuse(nestedString);
  if (element.attributes.size() != 1)
    return refuse(stringNeedsKey);
  if (element.attributes[0].name != "Key")
    return refuse(wrongStringAttribute);
  key_ = element.attributes[0].value;
  hasKey_ = true;
  return Role::string;
}

void TranslationParser::leave(Role role)
{
  switch (role) {
  case Role::languageTable:
    inLanguageTable_ = false;
    break;
  case Role::stringTable:
    inStringTable_ = false;
    break;
  case Role::string:
    hasKey_ = false;
    break;
  case Role::translation:
    inTranslation_ = false;
    [[fallthrough]];
  case Role::language:
    hasLanguage_ = false;
    break;
  case Role::none:
    break;
  }
}

bool TranslationParser::takeText(const std::string& text)
{
  if (inLanguageTable_) {
    if (!hasLanguage_ || language_.empty())
      return fail(noLanguageCode);
    if (!atEnd()) // the file may be cut in the middle of the text
      target_.addLanguage(language_, text);
    return true;
  }
  if (!inStringTable_)
    return fail(textOutside);
  if (!hasKey_)
    return fail(keyFirst);
  if (!hasLanguage_)
    return fail(noLanguage);
  if (key_.empty())
    return fail(noKey);
  if (!atEnd())
    target_.addPair(language_, key_, text);
  return true;
}

} // namespace orbi
