#include "persist/xml_parser.h"

#include "persist/xml_entities.h"

#include <array>

// The parser's tokens.

namespace orbi {

namespace {

using CharacterSet = std::array<bool, 256>;

constexpr CharacterSet setOf(std::string_view characters)
{
  CharacterSet set{};
  set[0] = true; // a NUL ends everything
  for (char c : characters)
    set[static_cast<uint8_t>(c)] = true;
  return set;
}

constexpr CharacterSet endsText = setOf("<\r\n");
constexpr CharacterSet endsDoubleQuoted = setOf("\"\r\n&\\");
constexpr CharacterSet endsSingleQuoted = setOf("'\r\n&\\");
constexpr CharacterSet endsName = setOf(" \t\r\n/>=<\"'?");

constexpr int atLimit = -2; ///< beside -1, the end

bool isBlank(int c)
{
  return c == ' ' || c == '\t';
}

bool isLetter(int c)
{
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool beginsName(int c)
{
  return isLetter(c) || c == '_';
}

bool beginsMarkup(int c)
{
  return c == '/' || c == '?' || c == '!' || beginsName(c);
}

} // namespace

bool FXmlParser::fill()
{
  int64_t got = source_->read(buffer_.get(), static_cast<int64_t>(capacity_));
  cursor_ = buffer_.get();
  end_ = cursor_ + (got > 0 ? got : 0);
  return got > 0;
}

/// To be called for each character behind '\r' or '\n', both included, that isn't looked at
/// otherwise: of CR LF the CR counts.
void FXmlParser::countLineEnd(int c)
{
  if (c == '\r') {
    int next = get();
    unget(next);
    line_ += next != '\n';
  } else if (c == '\n') {
    ++line_;
  }
}

/// Takes characters until one of the set, which is answered and taken, too.
template <class Stops>
int FXmlParser::scan(const Stops& stops, std::string& to, size_t limit)
{
  for (;;) {
    if (cursor_ == end_ && !fill())
      return -1;
    const char* from = cursor_;
    const char* last = end_;
    if (size_t(last - from) > limit)
      last = from + limit;
    while (cursor_ != last && !stops[static_cast<uint8_t>(*cursor_)])
      ++cursor_;
    auto count = static_cast<size_t>(cursor_ - from);
    to.append(from, count);
    limit -= count;
    if (cursor_ == last) {
      if (limit == 0)
        return atLimit;
      continue;
    }
    return get();
  }
}

int FXmlParser::skipBlanks()
{
  for (;;) {
    while (cursor_ != end_ && isBlank(*cursor_))
      ++cursor_;
    if (cursor_ != end_ || !fill())
      return get();
  }
}

FXmlParser::Token FXmlParser::contentToken()
{
  if (opened_ >= 0)
    return markupToken(std::exchange(opened_, -1));
  int c = get();
  if (c < 0)
    return Token::end;
  if (c == '\r' || c == '\n') {
    countLineEnd(c);
    return Token::lineEnd;
  }
  if (isBlank(c) && !(flags_ & xmlKeepsBlanks)) {
    unget(skipBlanks());
    return Token::blanks;
  }
  token_.clear();
  if (c == '<') {
    int second = get();
    if (beginsMarkup(second))
      return markupToken(second);
    token_.push_back('<');
    c = second;
  }
  unget(c);
  return Token::text;
}

FXmlParser::Token FXmlParser::markupToken(int second)
{
  switch (second) {
  case '/':
    return endTagToken();
  case '?':
    return nameToken(Token::instruction, get());
  case '!':
    return declarationToken();
  default:
    return nameToken(Token::startTag, second);
  }
}

/// A name with its first character taken already; ends before what can't belong to it.
FXmlParser::Token FXmlParser::nameToken(Token token, int first)
{
  if (!beginsName(first))
    return Token::error;
  token_.clear();
  token_.push_back(static_cast<char>(first));
  int c = scan(endsName, token_, longestToken - 2);
  if (c == atLimit)
    return Token::error;
  if (c < 0)
    return token; // the end shows next
  unget(c);
  const bool ended = isBlank(c) || c == '\r' || c == '\n' || c == '/' || c == '>';
  return ended || (token == Token::instruction && c == '?') ? token : Token::error;
}

FXmlParser::Token FXmlParser::endTagToken()
{
  int first = get();
  if (first < 0) {
    setError(XmlError::unexpectedEnd);
    return Token::error;
  }
  if (nameToken(Token::endTag, first) == Token::error)
    return Token::error;
  int c = get();
  if (c < 0)
    setError(XmlError::unexpectedEnd);
  return c == '>' ? Token::endTag : Token::error;
}

FXmlParser::Token FXmlParser::declarationToken()
{
  int c = get();
  const struct {
    int first;
    std::string_view rest;
    Token token;
  } declarations[] = {
      {'-', "-", Token::comment},
      {'[', "CDATA", Token::data},
      {'D', "OCTYPE", Token::documentType},
      {'d', "octype", Token::documentType},
  };
  for (const auto& declaration : declarations)
    if (c == declaration.first)
      return expect(declaration.rest) ? declaration.token : Token::error;
  failAtEnd(c);
  return Token::error;
}

bool FXmlParser::expect(std::string_view text)
{
  for (char wanted : text) {
    int c = get();
    if (c != static_cast<uint8_t>(wanted))
      return failAtEnd(c);
  }
  return true;
}

FXmlParser::Token FXmlParser::tagToken()
{
  int c = get();
  switch (c) {
  case -1:
    return Token::end;
  case '>':
    return Token::tagEnd;
  case '/':
    return expect(">") ? Token::emptyEnd : Token::error;
  case '?':
    return expect(">") ? Token::instructionEnd : Token::error;
  case ' ':
  case '\t':
    unget(skipBlanks());
    return Token::blanks;
  case '\r':
  case '\n':
    countLineEnd(c);
    return Token::lineEnd;
  default:
    return attributeToken(c);
  }
}

FXmlParser::Token FXmlParser::attributeToken(int first)
{
  if (!beginsName(first) && first < 0x80 && first != ':')
    return Token::error;
  Record record{};
  record.name = attributeBytes_.size();
  attributeBytes_ += static_cast<char>(first);
  int c = scan(endsName, attributeBytes_, longestAttributeName);
  record.nameLength = attributeBytes_.size() - record.name;
  if (c == atLimit || record.nameLength > longestAttributeName)
    return Token::error;
  if (isBlank(c))
    c = skipBlanks();
  if (c == '=')
    c = skipBlanks();
  else if (c >= 0)
    return Token::error;
  if (c < 0)
    return Token::end;
  if (c != '"' && c != '\'')
    return Token::error;
  record.value = attributeBytes_.size();
  bool hasEntities = false;
  if (!attributeValue(c, hasEntities))
    return Token::error;
  record.valueLength = attributeBytes_.size() - record.value;
  if (hasEntities) {
    record.valueLength = decodeEntities(&attributeBytes_[record.value], record.valueLength);
    attributeBytes_.resize(record.value + record.valueLength);
  }
  attributeBytes_ += '\0';
  records_.push_back(record);
  return Token::attribute;
}

/// Appends the value as it stands, its closing quote taken; false with the error set.
bool FXmlParser::attributeValue(int quote, bool& hasEntities)
{
  const CharacterSet& stops = quote == '"' ? endsDoubleQuoted : endsSingleQuoted;
  const size_t start = attributeBytes_.size();
  for (;;) {
    int c =
        scan(stops, attributeBytes_, start + longestAttributeValue + 1 - attributeBytes_.size());
    if (c == quote)
      return true;
    if (c == '\\' && (flags_ & xmlBackslashEscapes)) {
      int escaped = get();
      if (escaped == quote)
        c = escaped;
      else
        unget(escaped);
    }
    if (c < 0 || attributeBytes_.size() - start >= longestAttributeValue)
      return failAtEnd(c == -1 ? -1 : 0);
    hasEntities |= c == '&';
    countLineEnd(c);
    attributeBytes_ += static_cast<char>(c);
  }
}

/// The text from its first character on, to be found in the buffer or, when it is a '<' that opens
/// nothing, in the token.
bool FXmlParser::parseText(void* context)
{
  for (;;) {
    int c = scan(endsText, token_, longestToken - token_.size());
    if (c == '<') {
      int second = get();
      if (beginsMarkup(second)) {
        opened_ = second;
        break;
      }
      unget(second);
    }
    if (c == -1)
      break;
    if (c != atLimit) {
      countLineEnd(c);
      token_ += static_cast<char>(c);
    }
    if (token_.size() >= longestToken) {
      tellText(token_.size(), context);
      token_.clear();
    }
  }
  return endText(context);
}

/// Tells what is left of a run of text, and that it is over.
bool FXmlParser::endText(void* context)
{
  if (!token_.empty())
    tellText(token_.size(), context);
  tellText(0, context);
  return error_ == XmlError::none;
}

} // namespace orbi
