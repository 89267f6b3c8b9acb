#include "foundation/attributes.h"
#include "foundation/buffer.h"
#include "foundation/buffer_stream.h"
#include "foundation/memory_stream.h"
#include "foundation/regular_expression.h"
#include "foundation/string.h"
#include "foundation/time_date.h"
#include "foundation/tokens.h"
#include "foundation/variant.h"

#include <gtest/gtest.h>
#include <random>

using namespace orbi;

TEST(String, compares_by_mode_and_takes_null_as_empty)
{
  CmString empty, cleared("text"), mixed("Key");
  cleared.set("");
  EXPECT_TRUE(empty.isEqual(&cleared));
  EXPECT_EQ(empty.compare(nullptr, TextCompare::bytes), 0);
  EXPECT_EQ(mixed.compare("kEY", TextCompare::ignoreCase), 0);
  EXPECT_LT(mixed.compare("key", TextCompare::bytes), 0);
  EXPECT_GT(CmString("\xE4").compare("z", TextCompare::ignoreCase), 0) << "bytes are unsigned";
  EXPECT_NE(CmString("\xC4").compare("\xE4", TextCompare::ignoreCase), 0) << "A to Z only";
  EXPECT_NE(mixed.compare("key", TextCompare::byFlag), 0);
  CmString::comparesBytes = false;
  EXPECT_EQ(mixed.compare("key", TextCompare::byFlag), 0);
  EXPECT_EQ(mixed.hash(101), CmString("key").hash(101)) << "what is equal hashes alike";
  CmString::comparesBytes = true;
}

TEST(String, keeps_its_text_through_growth_and_use_of_itself)
{
  CmString text;
  std::string expected;
  for (int i = 0; i < 200; ++i) {
    text.append(text.text(), i % 5);
    expected += expected.substr(0, static_cast<size_t>(i % 5));
    text.appendNumber(i, 3);
    char digits[8];
    std::snprintf(digits, sizeof digits, "%03d", i);
    expected += digits;
    ASSERT_EQ(text.view(), expected);
    CmString moved(std::move(text));
    text = moved;
  }
  text.set(text.text() + 2, 20);
  EXPECT_EQ(text.view(), expected.substr(2, 20));
  text.format("%s/%d", text.text(), -7);
  EXPECT_EQ(text.view(), expected.substr(2, 20) + "/-7");
  text.set("ab", 50);
  EXPECT_EQ(text.length(), 2) << "a length doesn't reach behind the terminator";
  text.set(nullptr);
  EXPECT_TRUE(text.isEmpty());
}

TEST(String, skips_on_a_stream_what_is_too_long)
{
  auto written = [](int32_t length, int32_t bytes) {
    FMemoryStream stream;
    stream.writeInt32(length);
    for (int32_t i = 0; i < bytes; ++i)
      stream.writeInt8('x');
    stream.rewind();
    return stream;
  };
  CmString loaded("old");
  for (auto [length, bytes, good, position] : {std::tuple{50000, 50000, true, 50004},
                                               {50001, 50010, false, 50005},
                                               {10, 9, false, 13},
                                               {-1, 4, false, 4}}) {
    FMemoryStream foreign = written(length, bytes);
    EXPECT_EQ(loaded.read(foreign), good) << length;
    EXPECT_EQ(foreign.tell(), position) << length;
  }
  FBuffer buffer;
  FBufferStream growing(buffer);
  EXPECT_TRUE(growing.writeInt32(INT32_MAX));
  growing.rewind();
  EXPECT_FALSE(loaded.read(growing));
  EXPECT_LT(buffer.capacity(), 1000u);
}

TEST(Buffer, appends_bytes_of_its_own_while_it_grows)
{
  FBuffer buffer(4);
  for (uint8_t byte = 0; byte < 10; ++byte)
    EXPECT_TRUE(buffer.append(byte));
  EXPECT_TRUE(buffer.append(buffer.data() + 2, 8));
  ASSERT_EQ(buffer.used(), 18u);
  for (uint32_t i = 0; i < 8; ++i)
    EXPECT_EQ(buffer.data()[10 + i], i + 2);
  EXPECT_TRUE(buffer.setUsed(20));
  EXPECT_EQ(buffer.data()[19], 0);
  EXPECT_TRUE(buffer.setCapacity(3));
  EXPECT_EQ(buffer.used(), 3u);
  buffer.setGrowBy(UINT32_MAX);
  EXPECT_FALSE(buffer.append('x'));
  EXPECT_EQ(buffer.used(), 3u);
}

TEST(Tokens, split_at_separators)
{
  CmTokens words(" one\ttwo  three ");
  EXPECT_EQ(words.count(), 3u);
  EXPECT_STREQ(words.at(1), "two");
  EXPECT_EQ(words.at(3), nullptr);
  EXPECT_EQ(words.at(-1), nullptr);
  CmTokens fields("a,,b,", ",", EmptyTokens::keep);
  for (const char* expected : {"a", "", "b", ""})
    EXPECT_STREQ(fields.next(), expected);
  EXPECT_EQ(fields.next(), nullptr);
  fields.split(fields.at(0), ",");
  EXPECT_STREQ(fields.next(), "a");
  EXPECT_EQ(CmTokens("", ",").count(), 0u);
}

TEST(Variant, converts_persists_and_compares_by_value)
{
  auto text = [](const CmVariant& variant) {
    CmString shown;
    variant.toText(shown);
    return std::string(shown.view());
  };
  auto object = make<CmString>("42 objects");
  CmVariant values[] = {CmVariant(int64_t(-7)), CmVariant(0.1), CmVariant("12.5 dB"),
                        CmVariant(object.get())};
  EXPECT_EQ(text(values[0]), "-7");
  EXPECT_EQ(text(values[1]), "0.1");
  EXPECT_EQ(text(values[3]), "42 objects");
  EXPECT_EQ(values[0].asDouble(), -7.0);
  EXPECT_EQ(values[2].asInt(), 12);
  EXPECT_EQ(values[2].asDouble(), 12.5);
  EXPECT_EQ(CmVariant(1e300).asInt(), INT64_MAX);
  EXPECT_EQ(CmVariant(-1.9).asInt(), -1);
  for (const CmVariant& value : values) {
    FAttributes attributes;
    FMemoryStream stream;
    CmVariant loaded, read("old");
    EXPECT_TRUE(value.storeAttributes(attributes) && loaded.loadAttributes(attributes));
    EXPECT_TRUE(value.write(stream));
    stream.rewind();
    EXPECT_TRUE(read.read(stream));
    for (const CmVariant& same : {loaded, read}) {
      EXPECT_TRUE(same.isEqual(&value)) << text(value);
      EXPECT_EQ(same.hash(1009), value.hash(1009));
    }
    for (const CmVariant& other : values)
      EXPECT_EQ(value.compare(&other), -other.compare(&value));
  }
  FAttributes attributes;
  attributes.setObject("Value", nullptr, ObjectMode::borrowed);
  CmVariant none;
  EXPECT_TRUE(none.loadAttributes(attributes));
  EXPECT_TRUE(none.isEqual(&none));
  EXPECT_EQ(none.hash(1009), CmVariant().hash(1009));
}

TEST(Time, reads_shows_and_adds)
{
  CmTime time;
  CmString text;
  for (auto [written, shown] : {std::pair{"7:05", "07:05:00"}, {"23:59:59.25", "23:59:59.250"}}) {
    EXPECT_TRUE(time.fromText(written));
    time.toText(text);
    EXPECT_STREQ(text.text(), shown);
  }
  for (const char* wrong :
       {"", "24:00", "1:60", "1", "1:2:3:4", "-1:00", "1:2x", "1:2:3.", "001:2"})
    EXPECT_FALSE(time.fromText(wrong)) << wrong;
  EXPECT_EQ(time.addSeconds(2), 1);
  EXPECT_TRUE(time.hour() == 0 && time.second() == 1 && time.millisecond() == 250);
  EXPECT_EQ(time.addSeconds(-2), -1);
  EXPECT_EQ(CmTime::fromSeconds(-1).seconds(), 86399);
  EXPECT_TRUE(CmTime::now().isValid() && CmDate::today().isValid());
  EXPECT_LT(CmTime::fromSeconds(5).compare(&time), 0);
}

TEST(Date, knows_the_calendar)
{
  CmString text;
  for (auto [days, shown] : {std::pair{0, "1970-01-01"},
                             {19782, "2024-02-29"},
                             {-1, "1969-12-31"},
                             {11016, "2000-02-29"},
                             {-25509, "1900-02-28"},
                             {-25508, "1900-03-01"}}) {
    CmDate date = CmDate::fromDays(days);
    date.toText(text);
    EXPECT_STREQ(text.text(), shown);
    EXPECT_EQ(date.days(), days);
    CmDate parsed;
    EXPECT_TRUE(parsed.fromText(shown) && parsed.isEqual(&date));
  }
  CmDate date;
  EXPECT_EQ(date.dayOfWeek(), 4);
  EXPECT_EQ(CmDate(1969, 12, 28).dayOfWeek(), 0);
  EXPECT_TRUE(date.fromText("31.1.2023", DateFormat::dayFirst) && date.addMonths(1));
  date.toText(text, DateFormat::monthFirst);
  EXPECT_STREQ(text.text(), "02/28/2023");
  EXPECT_TRUE(date.addMonths(-14) && date.addDays(4));
  EXPECT_EQ(CmDate(2022, 1, 1).compare(&date), 0);
  for (const char* wrong :
       {"2023-02-29", "2023-13-01", "0-1-1", "2023-1", "2023-1-1x", "99999-1-1"})
    EXPECT_FALSE(date.fromText(wrong)) << wrong;
  EXPECT_FALSE(date.addDays(INT64_MAX) || date.addMonths(INT64_MIN));
  EXPECT_FALSE(CmDate::fromSeconds(INT64_MAX).isValid() || CmDate::fromDays(INT64_MIN).isValid());
}

TEST(RegularExpression, finds_what_the_pattern_says)
{
  struct Case {
    const char* pattern;
    const char* text;
    const char* found; // null: nothing
  };
  for (auto [pattern, text, found] :
       {Case{"b+", "abbbc", "bbb"}, Case{"b+?", "abbbc", "b"}, Case{"a|ab", "xab", "a"},
        Case{"(a|ab)(c|bcd)", "abcd", "abcd"}, Case{"^b", "ab", nullptr}, Case{"b$", "ab", "b"},
        Case{"[^a-c\\d]+", "abc12xyz", "xyz"}, Case{"[]x-]+", "a-]x", "-]x"},
        Case{"\\bin\\b", "inn in", "in"}, Case{"x{2,3}", "xxxxx", "xxx"},
        Case{"x{2}y", "xy", nullptr}, Case{"(a*)*b", "aaab", "aaab"}, Case{"\\x41\\.", "A.", "A."},
        Case{"", "abc", ""}, Case{"a.c", "a\nc", nullptr}, Case{"{x}", "{x}", "{x}"},
        Case{"(?:ab)*c", "ababc", "ababc"}}) {
    CmRegularExpression expression(pattern);
    ASSERT_TRUE(expression.isCompiled()) << pattern;
    CmRegularExpression::Groups groups;
    ASSERT_EQ(expression.search(text, &groups), found != nullptr) << pattern;
    if (found) {
      EXPECT_EQ(std::string(text).substr(size_t(groups[0].start),
                                         size_t(groups[0].end - groups[0].start)),
                found)
          << pattern;
    }
  }
  CmRegularExpression port("(\\w+) (\\d+)(x)?", TextCompare::ignoreCase);
  CmRegularExpression::Groups groups;
  EXPECT_TRUE(port.matches("Port 12", &groups));
  EXPECT_EQ(groups[1], (CmRegularExpression::Span{0, 4}));
  EXPECT_EQ(groups[2], (CmRegularExpression::Span{5, 7}));
  EXPECT_EQ(groups[3], CmRegularExpression::Span{});
  EXPECT_FALSE(port.matches("Port 12 b") || port.search("none", nullptr, 99));
  EXPECT_TRUE(CmRegularExpression("[^k]", TextCompare::ignoreCase).matches("a"));
  EXPECT_FALSE(CmRegularExpression("[^k]", TextCompare::ignoreCase).matches("K"));
}

TEST(RegularExpression, survives_foreign_patterns_and_texts)
{
  for (const char* wrong : {"(", ")", "a)", "[a", "*a", "a**", "\\", "\\q", "[b-a]", "x{3,2}",
                            "(?=a)", "\\1", "x{99999999999999999999}", "(x{900}){900}", "[\\"}) {
    CmRegularExpression expression(wrong);
    EXPECT_FALSE(expression.isCompiled()) << wrong;
    EXPECT_FALSE(expression.search("a"));
  }
  std::string deep(500, '(');
  EXPECT_FALSE(CmRegularExpression(deep + std::string(500, ')')).isCompiled());
  EXPECT_FALSE(CmRegularExpression(std::string(1001, 'a')).isCompiled());
  EXPECT_TRUE(CmRegularExpression("(?:){0,999999999}").matches(""));

  // Both are exponential for a matcher that tries one way after the other.
  std::string many(CmRegularExpression::longestText, 'a');
  EXPECT_FALSE(CmRegularExpression("(a*)*b").search(many));
  EXPECT_TRUE(CmRegularExpression("(a|a)*").matches(many));
  EXPECT_FALSE(CmRegularExpression("a").search(many + "a"));

  std::mt19937 random(7);
  const std::string_view alphabet = "ab()[]{}*+?|\\^$.-,1dwx:";
  for (int round = 0; round < 3000; ++round) {
    std::string pattern;
    for (size_t i = random() % 24; i > 0; --i)
      pattern += alphabet[random() % alphabet.size()];
    CmRegularExpression expression(pattern);
    CmRegularExpression::Groups groups;
    if (expression.search("abba1 (ab)", &groups)) {
      EXPECT_TRUE(groups[0].start <= groups[0].end && groups[0].end <= 10) << pattern;
    }
  }
}
