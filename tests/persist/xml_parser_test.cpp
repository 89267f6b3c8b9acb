#include "object_file_helpers.h"

#include "persist/xml_entities.h"
#include "persist/xml_writer.h"

#include <gtest/gtest.h>

namespace orbi {
namespace {

/// Writes down what it is told. Elements named "nest" it parses by itself, with another context.
struct Recorder final : XmlHandler {
  bool startElement(const char* tag, const XmlAttributes& attributes, bool isEmpty,
                    void* context) override
  {
    const std::string name = tag;
    log += (context ? "*<" : "<") + name;
    for (size_t i = 0; i < attributes.count(); ++i)
      log += " " + std::string(attributes.at(i).name) + "=" + attributes.at(i).value.data();
    log += isEmpty ? "/>" : ">";
    return name != "bad" && (name != "nest" || isEmpty || parser->parse(this));
  }
  bool endElement(const char* tag, void* context) override
  {
    log += (context ? "*</" : "</") + std::string(tag) + ">";
    return std::string(tag) != "late";
  }
  void text(const char* bytes, size_t length, void*) override
  {
    longest = std::max(longest, length);
    log += length == 0 ? "|" : std::string(bytes, length);
  }
  void comment(const char* bytes, size_t length, void*) override
  {
    log += "{" + std::string(bytes, length) + "}";
  }

  FXmlParser* parser = nullptr;
  std::string log;
  size_t longest = 0;
};

struct Parsed {
  std::string log;
  XmlError error;
  int32_t line;
  int64_t position;
  size_t longest;
};

Parsed parsed(std::string_view text, uint32_t flags = 0,
              FXmlParser::Buffering buffering = FXmlParser::Buffering::buffered)
{
  Recorder recorder;
  auto source = streamOf(text);
  auto parser = make<FXmlParser>(*source, &recorder, flags, buffering);
  recorder.parser = parser.get();
  parser->parse();
  return {recorder.log, parser->error(), parser->line(), source->tell(), recorder.longest};
}

TEST(XmlParser, tells_of_every_part_of_a_document_whichever_way_it_is_buffered)
{
  const struct {
    const char* text;
    uint32_t flags;
    const char* log;
  } cases[] = {
      {"<a b = \"1\"  c='2'\r\n d=\"\"/>", 0, "<a b=1 c=2 d=/>"},
      {"<a> \t\n text <b/> \n</a>", 0, "<a>text |<b/></a>"},
      {"<a> x</a>", xmlKeepsBlanks, "<a> x|</a>"},
      {"<a>1 < 2 <3 <<b/></a>", 0, "<a>1 < 2 <3 <|<b/></a>"},
      {"<?xml version='1.0'\n?><a/>", 0, "<a/>"},
      {"<!DOCTYPE x [ <!ENTITY y> ]><!doctype z><a/>", 0, "<a/>"},
      {"<!-- <x> --><a/>", 0, "<a/>"},
      {"<!-- <x> - --><a/>", xmlReportsComments, "{ <x> - }<a/>"},
      {"<a><![CDATA[ <b>&amp;]]]]></a>", 0, "<a> <b>&amp;]]|</a>"},
      {"<a v='a\\'b\\c'/>", xmlBackslashEscapes, "<a v=a'b\\c/>"},
      {"<a v='a\\'/>", 0, "<a v=a\\/>"},
      {"<a v='&lt;&#65;&#x42;&apos;&foo;&;&#0;&#300;&hyphen&amp'/>", 0,
       "<a v=<AB'&foo;&;&#0;&#300;&hyphen&amp/>"},
      {"<a><nest><b/></nest><c/></a>", 0, "<a><nest>*<b/>*</nest><c/></a>"},
  };
  for (const auto& row : cases)
    for (auto buffering : {FXmlParser::Buffering::buffered, FXmlParser::Buffering::unbuffered}) {
      Parsed result = parsed(row.text, row.flags, buffering);
      EXPECT_EQ(result.log, row.log) << row.text;
      EXPECT_EQ(result.error, XmlError::none) << row.text;
    }
}

TEST(XmlParser, names_each_fault_and_its_line)
{
  const std::string longName(48, 'n');
  const std::string longValue(2048, 'v');
  const std::string longTag(4096, 't');
  const struct {
    std::string text;
    XmlError error;
    int32_t line;
  } cases[] = {
      {"<a>\r\n</b>", XmlError::malformed, 2},
      {"\r\r\n\n</a>", XmlError::malformed, 4},
      {"<a></a >", XmlError::malformed, 1},
      {"<a \"x\"/>", XmlError::malformed, 1},
      {"<a b=c/>", XmlError::malformed, 1},
      {"<a b/>", XmlError::malformed, 1},
      {"<!x>", XmlError::malformed, 1},
      {"<?x <?>", XmlError::malformed, 1},
      {"<a " + longName + "='1'/>", XmlError::malformed, 1},
      {"<a n='" + longValue + "'/>", XmlError::malformed, 1},
      {"<" + longTag + "/>", XmlError::malformed, 1},
      {"<a>\n<bad/>", XmlError::unexpectedTag, 2},
      {"<late>\n</late>", XmlError::unexpectedTag, 2},
      {"<a>\ntext\n", XmlError::unexpectedEnd, 3},
      {"<a b='\n", XmlError::unexpectedEnd, 2},
      {"<!-- \n", XmlError::unexpectedEnd, 2},
      {"<a><![CDATA[\n]]", XmlError::unexpectedEnd, 2},
      {"<a" + std::string("\0></a>", 6), XmlError::unexpectedEnd, 1},
  };
  for (const auto& row : cases) {
    Parsed result = parsed(row.text);
    EXPECT_EQ(result.error, row.error) << row.text;
    EXPECT_EQ(result.line, row.line) << row.text;
  }
  EXPECT_STREQ(xmlErrorText(XmlError::unexpectedEnd), "Unexpected end of file!");
  EXPECT_STREQ(xmlErrorText(XmlError::missingAttributes), "Not enough actual attributes in tag!");
}

TEST(XmlParser, takes_what_is_just_short_enough)
{
  const std::string name(47, 'n');
  const std::string value(2047, 'v');
  const std::string tag(4000, 't');
  EXPECT_EQ(parsed("<a " + name + "='" + value + "'/>").log, "<a " + name + "=" + value + "/>");
  EXPECT_EQ(parsed("<" + tag + "></" + tag + ">").log, "<" + tag + "></" + tag + ">");
}

TEST(XmlParser, hands_long_texts_over_in_runs)
{
  const std::string text(10000, 'x');
  for (const std::string& whole : {"<a>" + text + "</a>", "<a><![CDATA[" + text + "]]></a>"}) {
    Parsed result = parsed(whole);
    EXPECT_EQ(result.log, "<a>" + text + "|</a>");
    EXPECT_LE(result.longest, FXmlParser::longestToken);
  }
}

TEST(XmlParser, leaves_what_follows_the_document_in_the_stream)
{
  for (const char* text : {"<a><b/></a>rest", "<longer />rest"}) {
    Parsed result = parsed(text, xmlStopsAtEnd, FXmlParser::Buffering::unbuffered);
    EXPECT_EQ(result.error, XmlError::none);
    EXPECT_EQ(std::string(text).substr(static_cast<size_t>(result.position)), "rest");
  }
}

TEST(XmlText, loses_indents_and_turns_line_ends_and_entities)
{
  const char* text = "  a \r\n\t b&lt;\r&unknowntoolong;c";
  EXPECT_EQ(decodeXmlText(text, 0), "a \nb&lt;\n&unknowntoolong;c");
  EXPECT_EQ(decodeXmlText(text, xmlTextJoinsLines | xmlTextEntities), "a  b< &unknowntoolong;c");
}

TEST(XmlText, comes_back_for_all_characters_but_the_one_that_shares_its_name)
{
  for (int code = 1; code < 256; ++code) {
    std::string text(1, static_cast<char>(code)), escaped;
    appendEscaped(escaped, text);
    escaped.resize(decodeEntities(escaped.data(), escaped.size()));
    EXPECT_EQ(escaped, code == 192 ? "\xBF" : text) << code;
  }
}

TEST(XmlWriter, indents_by_tabs_and_keeps_tags_in_pairs)
{
  FMemoryStream stream;
  auto writer = make<FXmlWriter>(stream, xmlOmitsEmpty | xmlEscapes);
  const XmlWriterAttribute attributes[] = {{"n", "<1>"}, {"e", ""}};
  EXPECT_EQ(writer->startElement("a", attributes, XmlElement::open), 0);
  EXPECT_EQ(writer->comment("  two words "), 0);
  EXPECT_EQ(writer->comment("  "), 0);
  EXPECT_EQ(writer->writeLine("x\r\ny"), 0);
  EXPECT_EQ(writer->endElement("b"), 1);
  EXPECT_EQ(writer->startElement("b", {}, XmlElement::empty), 0);
  EXPECT_EQ(writer->endElement("a"), 0);
  EXPECT_EQ(writer->endElement("a"), 1);
  EXPECT_EQ(textOf(stream),
            "<a n=\"&lt;1&gt;\">\r\n\t<!-- two words -->\r\n\tx\r\n\ty\r\n\t<b/>\r\n</a>\r\n");
}

} // namespace
} // namespace orbi
