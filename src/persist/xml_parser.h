#pragma once

#include "foundation/ref.h"
#include "foundation/stream.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orbi {

/// How a parser treats its input.
enum XmlParserFlag : uint32_t {
  xmlReportsComments = 1,
  xmlBackslashEscapes = 2, ///< \" inside an attribute's value doesn't end it
  xmlKeepsBlanks = 8,      ///< blanks and tabs between tags are text
  xmlStopsAtEnd = 16       ///< done with the first whole element; more may follow in the stream
};

enum class XmlError : int32_t {
  none = 0,
  malformed = 1,
  unexpectedTag = 2, ///< refused by the handler
  unexpectedEnd = 3,
  missingAttributes = 4, ///< this and the next are for handlers
  wrongTag = 5
};
const char* xmlErrorText(XmlError error); ///< empty for none

/// Attributes of one start tag, entities replaced. Borrowed from the parser.
class XmlAttributes {
public:
  struct Attribute {
    std::string_view name;
    std::string_view value; ///< a NUL follows
  };

  size_t count() const { return attributes_.size(); }
  const Attribute& at(size_t index) const { return attributes_[index]; }
  const char* find(std::string_view name) const ///< the first of the name; null for none
  {
    const std::string_view* value = valueOf(name);
    return value ? value->data() : nullptr;
  }
  const std::string_view* valueOf(std::string_view name) const
  {
    for (const Attribute& attribute : attributes_)
      if (attribute.name == name)
        return &attribute.value;
    return nullptr;
  }

private:
  friend class FXmlParser;
  std::vector<Attribute> attributes_;
};

/// What a parser tells of. Tag, attributes and text are valid until the handler returns or parses
/// on.
class XmlHandler {
public:
  virtual ~XmlHandler() = default;
  /// False ends with an error. A handler may parse the content of a non-empty element by calling
  /// FXmlParser::parse with a context of its own, or just return and be told of the content next.
  virtual bool startElement(const char* tag, const XmlAttributes& attributes, bool isEmpty,
                            void* context) = 0;
  virtual bool endElement(const char* tag, void* context) = 0; ///< not for an empty one
  /// Runs of at most FXmlParser::longestToken bytes; a length of 0 ends the text.
  virtual void text(const char* bytes, size_t length, void* context) = 0;
  virtual void comment(const char*, size_t, void*) {} ///< the whole comment
};

/// Streaming parser without document types, for 8-bit texts. Depth and length of a document cost
/// memory only, as the open tags lie on a stack of the parser's own.
class FXmlParser : public CmClass<FXmlParser, CmObject> {
public:
  static constexpr const char* className = "FXmlParser";
  static constexpr size_t bufferBytes = 2048;
  static constexpr size_t longestToken = 4096;
  static constexpr size_t longestAttributeName = 47;
  static constexpr size_t longestAttributeValue = 2047; ///< as it stands in the file

  /// unbuffered reads no byte beyond the last one used.
  enum class Buffering { buffered, unbuffered };

  /// Keeps a reference to the stream; the handler is borrowed.
  FXmlParser(FStream& source, XmlHandler* handler, uint32_t flags = 0,
             Buffering buffering = Buffering::buffered);
  FXmlParser(const FXmlParser&) = delete;
  ~FXmlParser() override = default;

  /// Parses to the end of the input or, called from startElement, of that element.
  bool parse(void* context = nullptr);

  void setSilent(bool silent) { silent_ = silent; } ///< parses on without telling the handler
  size_t depth() const { return openTags_.size(); }

  // Errors: the first one stays
  void setError(XmlError error);
  XmlError error() const { return error_; }
  const char* errorText() const { return xmlErrorText(error_); }
  int32_t line() const { return line_ + 1; } ///< from 1
  CmString errorLine() const;                ///< "Line " and the number

private:
  enum class Token {
    end = 0,
    error = 1,
    startTag = 2,
    endTag = 3,
    emptyEnd = 4, ///< />
    attribute = 5,
    tagEnd = 6, ///< >
    text = 7,
    lineEnd = 8,
    blanks = 9,
    instruction = 10, ///< <?name
    instructionEnd = 11,
    comment = 12,
    data = 14, ///< <![CDATA
    documentType = 16
  };
  struct Record { ///< places in attributeBytes_
    size_t name;
    size_t value;
    size_t nameLength;
    size_t valueLength;
  };

  // Bytes; -1 is the end, and a NUL is one that stays
  int get()
  {
    if ((cursor_ == end_ && !fill()) || *cursor_ == 0)
      return -1;
    return static_cast<uint8_t>(*cursor_++);
  }
  void unget(int c) { cursor_ -= c >= 0; } ///< right after get
  bool fill();
  void countLineEnd(int c);
  template <class Stops>
  int scan(const Stops& stops, std::string& to, size_t limit);

  // Tokens
  Token contentToken();
  Token markupToken(int second);
  Token declarationToken();
  Token endTagToken();
  Token tagToken();
  Token attributeToken(int first);
  bool attributeValue(int quote, bool& hasEntities);
  Token nameToken(Token token, int first);
  bool expect(std::string_view text);
  int skipBlanks();

  // Steps of the loop
  bool step(size_t began, void* context);
  bool startElement(void* context);
  bool endElement(void* context);
  bool collectAttributes(bool& isEmpty);
  void publishAttributes();
  bool parseText(void* context);
  bool parseData(void* context);
  bool parseComment(void* context);
  bool skipInstruction();
  bool skipDocumentType();
  bool failAtEnd(int c); ///< error 3 at the end of the input, else error 1

  // What the handler is told, unless silent
  void tellText(size_t length, void* context);
  bool endText(void* context);

  Ref<FStream> source_;
  XmlHandler* handler_;
  uint32_t flags_;
  bool silent_ = false;
  int32_t line_ = 0;
  XmlError error_ = XmlError::none;

  size_t capacity_;
  std::unique_ptr<char[]> buffer_;
  const char* cursor_;
  const char* end_;
  int opened_ = -1; ///< the byte behind a '<' that ended a text and waits for its turn

  std::string token_;
  std::string attributeBytes_;
  std::vector<Record> records_;
  XmlAttributes attributes_;

  // Names of the open tags, each with its NUL, one behind the other
  std::string openNames_;
  std::vector<size_t> openTags_;
};

} // namespace orbi
