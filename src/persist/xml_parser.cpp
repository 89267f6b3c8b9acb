#include "persist/xml_parser.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER_ABSTRACT(FXmlParser);

namespace {

constexpr const char* errorTexts[] = {
    "",
    "Xml data malformed!",
    "Unexpected tag or invalid attributes!",
    "Unexpected end of file!",
    "Not enough actual attributes in tag!",
    "Unexpected Tag!",
};

} // namespace

const char* xmlErrorText(XmlError error)
{
  auto code = static_cast<size_t>(error);
  return code < std::size(errorTexts) ? errorTexts[code] : "";
}

FXmlParser::FXmlParser(FStream& source, XmlHandler* handler, uint32_t flags, Buffering buffering)
    : source_(Ref<FStream>::share(&source)), handler_(handler), flags_(flags),
      capacity_(buffering == Buffering::buffered ? bufferBytes : 1),
      buffer_(std::make_unique<char[]>(capacity_)), cursor_(buffer_.get()), end_(cursor_)
{
}

void FXmlParser::setError(XmlError error)
{
  if (error_ == XmlError::none)
    error_ = error;
}

CmString FXmlParser::errorLine() const
{
  CmString text;
  text.format("Line %d", line());
  return text;
}

bool FXmlParser::parse(void* context)
{
  const size_t began = depth();
  while (error_ == XmlError::none && step(began, context))
    ;
  return error_ == XmlError::none;
}

/// One token of the content and what belongs to it; false when there is no more to parse.
bool FXmlParser::step(size_t began, void* context)
{
  switch (contentToken()) {
  case Token::end:
    if (depth() > 0)
      setError(XmlError::unexpectedEnd);
    return false;
  case Token::startTag:
    if (!startElement(context))
      return false;
    return depth() > 0 || !(flags_ & xmlStopsAtEnd);
  case Token::endTag:
    if (!endElement(context) || (depth() == 0 && (flags_ & xmlStopsAtEnd)))
      return false;
    return depth() + 1 != began;
  case Token::text:
    return parseText(context);
  case Token::lineEnd:
  case Token::blanks:
    return true;
  case Token::instruction:
    return skipInstruction();
  case Token::comment:
    return parseComment(context);
  case Token::data:
    return parseData(context);
  case Token::documentType:
    return skipDocumentType();
  default:
    setError(XmlError::malformed);
    return false;
  }
}

bool FXmlParser::startElement(void* context)
{
  bool isEmpty = false;
  if (!collectAttributes(isEmpty))
    return false;
  if (!isEmpty) {
    openTags_.push_back(openNames_.size());
    openNames_.append(token_.c_str(), token_.size() + 1);
  }
  if (!silent_ && handler_ &&
      !handler_->startElement(token_.c_str(), attributes_, isEmpty, context))
    setError(XmlError::unexpectedTag);
  return error_ == XmlError::none;
}

bool FXmlParser::collectAttributes(bool& isEmpty)
{
  records_.clear();
  attributeBytes_.clear();
  for (;;) {
    switch (Token token = tagToken()) {
    case Token::emptyEnd:
    case Token::tagEnd:
      isEmpty = token == Token::emptyEnd;
      publishAttributes();
      return true;
    case Token::attribute:
    case Token::lineEnd:
    case Token::blanks:
      break;
    default:
      setError(token == Token::end ? XmlError::unexpectedEnd : XmlError::malformed);
      return false;
    }
  }
}

/// Places become pointers only now that the bytes don't move any more.
void FXmlParser::publishAttributes()
{
  const char* bytes = attributeBytes_.data();
  attributes_.attributes_.clear();
  for (const Record& record : records_)
    attributes_.attributes_.push_back(
        {{bytes + record.name, record.nameLength}, {bytes + record.value, record.valueLength}});
}

bool FXmlParser::endElement(void* context)
{
  if (openTags_.empty() || token_ != openNames_.c_str() + openTags_.back()) {
    setError(XmlError::malformed);
    return false;
  }
  openNames_.resize(openTags_.back());
  openTags_.pop_back();
  if (!silent_ && handler_ && !handler_->endElement(token_.c_str(), context))
    setError(XmlError::unexpectedTag);
  return error_ == XmlError::none;
}

void FXmlParser::tellText(size_t length, void* context)
{
  if (!silent_ && handler_)
    handler_->text(token_.data(), length, context);
}

bool FXmlParser::failAtEnd(int c)
{
  setError(c < 0 ? XmlError::unexpectedEnd : XmlError::malformed);
  return false;
}

bool FXmlParser::skipInstruction()
{
  for (;;) {
    switch (Token token = tagToken()) {
    case Token::instructionEnd:
      return true;
    case Token::attribute:
      records_.clear();
      attributeBytes_.clear();
      break;
    case Token::lineEnd:
    case Token::blanks:
      break;
    default:
      return failAtEnd(token == Token::end ? -1 : 0);
    }
  }
}

bool FXmlParser::parseComment(void* context)
{
  const bool reports = (flags_ & xmlReportsComments) && !silent_ && handler_;
  std::string comment;
  for (size_t dashes = 0;;) {
    int c = get();
    if (c < 0)
      return failAtEnd(c);
    if (c == '>' && dashes >= 2)
      break;
    dashes = c == '-' ? dashes + 1 : 0;
    countLineEnd(c);
    if (reports)
      comment += static_cast<char>(c);
  }
  if (reports) {
    comment.resize(comment.size() - 2);
    handler_->comment(comment.data(), comment.size(), context);
  }
  return true;
}

/// The inside of a CDATA section goes on unchanged.
bool FXmlParser::parseData(void* context)
{
  if (!expect("["))
    return false;
  token_.clear();
  for (size_t brackets = 0;;) {
    int c = get();
    if (c < 0)
      return failAtEnd(c);
    if (c == '>' && brackets >= 2)
      break;
    countLineEnd(c);
    // Two brackets wait, as they may belong to the end.
    if (c == ']' && brackets < 2) {
      ++brackets;
      continue;
    }
    if (c != ']') {
      token_.append(brackets, ']');
      brackets = 0;
    }
    token_ += static_cast<char>(c);
    if (token_.size() >= longestToken - 2) {
      tellText(token_.size(), context);
      token_.clear();
    }
  }
  return endText(context);
}

bool FXmlParser::skipDocumentType()
{
  for (int brackets = 0;;) {
    int c = get();
    if (c < 0)
      return failAtEnd(c);
    if (c == '>' && brackets <= 0)
      return true;
    brackets += (c == '[') - (c == ']');
    countLineEnd(c);
  }
}

} // namespace orbi
