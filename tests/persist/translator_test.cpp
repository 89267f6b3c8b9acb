#include "foundation/ref.h"
#include "foundation/stream_helpers.h"
#include "persist/global_texts.h"
#include "persist/persist_helpers.h"
#include "persist/translation_parser.h"
#include "persist/translator.h"
#include "platform/language.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>

using namespace orbi;
using Texts = std::vector<std::string>;

namespace {

struct Translator : testing::Test {
  std::string faultOf(const std::string& text)
  {
    TranslationParser parser(translator, text);
    parser.parse();
    return parser.fault() ? parser.fault() : "";
  }

  ToldMessages told;
  UTranslator translator;
};

struct Setting final : ULanguageSetting {
  explicit Setting(std::string code) : code(std::move(code)) {}
  std::string languageCode() const override { return code; }
  void setLanguageCode(std::string_view chosen) override { code = chosen; }
  std::string code;
};

std::string inTable(const std::string& text)
{
  return "<StringTable>" + text;
}

std::string inString(const std::string& text)
{
  return "<StringTable><String Key=\"k\">" + text;
}

constexpr const char* smallFile = R"(<?xml version="1.0"?>
<LanguageTable>
  <language key="en">English</language>
  <language key="de">Deutsch</language>
  <language key="JA">日本語</language>
</LanguageTable>
<!-- two tables -->
<StringTable>
  <String Key="Open">
    <Eng>Open</Eng> <Deu>Öffnen</Deu> <DEU>Aufmachen</DEU> <Jap>開く</Jap>
  </String>
  <String Key="say \"\\\n\t&amp;">
    <Deu>\"\<x\\\n\tü &amp; </Deu><Eng/>
  </String>
</StringTable>)";

} // namespace

TEST_F(Translator, every_fault_has_its_text)
{
  const std::string attribute = " a=\"1\"";
  std::string attributes;
  for (int i = 0; i < 65; ++i)
    attributes += attribute;
  const std::string longest(TranslationParser::longestName + 1, 'n');
  const std::string comment(TranslationParser::longestComment + 1, 'c');
  struct Case {
    std::string text;
    const char* fault;
  };
  const Case cases[] = {
      {"<StringTable></>", "syntax error at end tag"},
      {"<StringTable></StringTable x>", "syntax error at end tag"},
      {"</StringTable>", "Non expected end tag"},
      {"<StringTable></LanguageTable>", "Non expected end tag"},
      {"<!--" + comment + "-->", "Too int32 comment"},
      {"<!-- ->", "Non closed comment"},
      {"<!DOCTYPE x>", "Non supported '<!' tag"},
      {"<?" + comment + "?>", "Too int32 processing instruction"},
      {"<?xml", "Non closed processing instruction ( '<? ... ?>')"},
      {"<x" + attributes + ">", "Too many attribute/value pairs"},
      {"<x =\"1\">", "Attribute field not valid"},
      {"<x a>", "Attribute field not valid"},
      {"<1>", "Name is not legal"},
      {"<", "Name is not legal"},
      {"<" + longest + ">", "Name too int32"},
      {"<x a=1>", "Attribute value invalid (or too int32)"},
      {"<x a=\"1>", "Attribute value invalid (or too int32)"},
      {"<x a=\"" + std::string(TranslationParser::longestValue + 1, 'v') + "\">",
       "Attribute value invalid (or too int32)"},
      {"<LanguageTable>Deutsch<", "The language code is not set! Can't read a language name yet!"},
      {"<LanguageTable><language key=\"\">x<",
       "The language code is not set! Can't read a language name yet!"},
      {"text", "The context is not valid for raw text yet!"},
      {"<StringTable></StringTable>text", "The context is not valid for raw text yet!"},
      {inTable("<String Key=\"\"><Eng>x<"), "The key is not set!"},
      {inString("x"), "The language is not set!"},
      {inString("<Eng>x</Eng>y"), "The language is not set!"},
      {"<LanguageTable><language>Deutsch</language>",
       "The language tag requires a single key/value pair!"},
      {"<LanguageTable><language key=\"a\" b=\"c\">",
       "The language tag requires a single key/value pair!"},
      {"<LanguageTable><language code=\"de\">", "This tag doesnt support this attribute name!"},
      {inString("<String Key=\"l\">"), "The string key is already set!"},
      {inTable("<String>"), "The string tag requires a single 'key' attribute with value!"},
      {inTable("<String Key=\"a\" Key=\"b\"/>"),
       "The string tag requires a single 'key' attribute with value!"},
      {inTable("<String key=\"a\">"), "The string tag doesn't support this attribute name!"},
      {inTable("<Eng>"), "You must set the string key first!"},
      {inString("</String>x<String Key=\"l\">"), "You must set the string key first!"},
      {inString("<Eng a=\"1\">"), "Attribute/value pairs are not supported in that context!"},
      {"<LanguageTable><x a=\"1\">", "Attribute/value pairs are not supported in that context!"},
      {inString("<Eng><Deu>"), "You haven't finished the previous translation!"},
      {"<StringTable a=\"1\">", "This tag doesn't support attributes (or unknown tag)!"},
      {"<translations>", "This tag doesn't support attributes (or unknown tag)!"},
      {"<LanguageTable><StringTable>", "This tag is not supported in that context!"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(faultOf(c.text), c.fault) << c.text.substr(0, 80);

  for (const std::string& text :
       {std::string(), inString("<Eng"), "<!--" + comment.substr(1) + "-->",
        "<LanguageTable" + std::string(3, ' ') + "/>"})
    EXPECT_EQ(faultOf(text), text.ends_with("<Eng") ? "Attribute field not valid" : "");
}

TEST_F(Translator, fault_shows_the_text_around_it)
{
  const std::string before = inString("</String>\n") + std::string(400, ' ') + "wrong";
  const std::string after = "</StringTable>" + std::string(300, 'z');
  EXPECT_FALSE(translator.load(before + after));
  ASSERT_EQ(told.texts.size(), 1u);
  EXPECT_EQ(told.texts[0], "An error occurred while parsing translation:\n"
                           "You must set the string key first!\n" +
                               before.substr(before.size() - 300) +
                               "  <====== HERE ======  " + after.substr(0, 200));
  EXPECT_FALSE(translator.load("<x>"));
  EXPECT_EQ(told.texts[1], "An error occurred while parsing translation:\n"
                           "This tag doesn't support attributes (or unknown tag)!\n"
                           "<x>  <====== HERE ======  ");
  std::string letters; // no character is cut in two
  for (int i = 0; i < 200; ++i)
    letters += "ü";
  translator.load("x" + letters + "y<" + letters + "z");
  EXPECT_EQ(told.texts[2].substr(told.texts[2].find("yet!\n") + 5, 2), "ü");
  EXPECT_TRUE(told.texts[2].ends_with("ü"));
}

TEST_F(Translator, keys_become_the_texts_of_the_language)
{
  translator.setLanguage("de");
  ASSERT_TRUE(translator.load(smallFile));
  EXPECT_STREQ(translator.translate("Open"), "Aufmachen"); // the later of the two
  EXPECT_STREQ(translator.translate("say \"\\\n\t&amp;"), "\"<x\\\n\tü &amp; ");
  EXPECT_STREQ(translator.translate("Cancel"), "Abbrechen");
  const char* unknown = "unknown";
  EXPECT_EQ(translator.translate(unknown), unknown);
  EXPECT_EQ(translator.translate(nullptr), nullptr);
  EXPECT_EQ(UTranslator::text("Open"), translator.translate("Open"));

  translator.addRunTimePair("new", "neu");
  translator.addRunTimePair("Open", "nie");
  EXPECT_STREQ(translator.translate("new"), "neu");
  EXPECT_STREQ(translator.translate("Open"), "Aufmachen");

  // What stood before a fault is kept, half a text isn't.
  EXPECT_FALSE(translator.load(inString("<Deu>v</Deu></String><String Key=\"l\"><Deu>w</Fra>")));
  EXPECT_STREQ(translator.translate("k"), "v");
  EXPECT_STREQ(translator.translate("l"), "w");
  EXPECT_TRUE(translator.load(inString("<Deu>half a te")));
  EXPECT_STREQ(translator.translate("k"), "v");
}

TEST_F(Translator, pattern_keeps_its_arguments)
{
  struct Case {
    const char* key;
    const char* translation;
    bool taken;
  };
  constexpr Case cases[] = {{"About %s", "Über %s", true},    {"About %s", "Über %s%n", false},
                            {"%d of %d", "%d/%d", true},      {"%d of %s", "%s von %d", false},
                            {"100 %% %s", "%s zu 100", true}, {"Level", "100 % sicher", true},
                            {"Quit %s?", "Beenden?", false}};
  for (const Case& c : cases) {
    translator.setLanguage("de");
    translator.addPair("Deu", c.key, c.translation);
    EXPECT_STREQ(translator.translate(c.key), c.taken ? c.translation : c.key);
  }
}

TEST_F(Translator, language_is_the_chosen_one_when_the_file_names_it)
{
  struct Case {
    const char* chosen;
    const char* system;
    const char* open;
    const char* cancel;
    size_t menuIndex;
  };
  constexpr Case cases[] = {
      {"de", "ja", "Aufmachen", "Abbrechen", 1}, {"Deu", "en", "Aufmachen", "Abbrechen", 1},
      {"fr", "ja", "開く", "キャンセル", 2},     {"", "de", "Aufmachen", "Abbrechen", 1},
      {"", "fr", "Open", "Annuler", 0},          {"?", "xx", "Open", "Cancel", 0},
  };
  for (const Case& c : cases) {
    UTranslator fresh;
    const Setting setting(c.chosen);
    fresh.start(&setting, c.system, memoryWith(smallFile).get());
    EXPECT_STREQ(fresh.translate("Open"), c.open) << c.chosen << c.system;
    EXPECT_STREQ(fresh.translate("Cancel"), c.cancel) << c.chosen << c.system;
    EXPECT_EQ(fresh.currentMenuIndex(), c.menuIndex);
    EXPECT_EQ(fresh.menuNames(), (Texts{"English", "Deutsch", "日本語"}));
    EXPECT_EQ(fresh.isAsian(), c.menuIndex == 2);
  }
  UTranslator alone;
  const Setting setting("de");
  alone.start(&setting, "fr", nullptr);
  EXPECT_STREQ(alone.translate("Yes"), "Oui");
  EXPECT_EQ(alone.menuNames(), Texts{"American English (built-in)"});
  alone.start(&setting, "fr", memoryWith("<LanguageTable>x</LanguageTable>").get());
  EXPECT_EQ(told.texts.size(), 1u); // once, although the file was read for two languages
}

TEST_F(Translator, choice_of_a_language_waits_for_the_next_start)
{
  Setting setting("en");
  translator.start(&setting, "en", memoryWith(smallFile).get());
  EXPECT_FALSE(translator.choose(3, setting));
  EXPECT_TRUE(translator.choose(1, setting));
  EXPECT_EQ(setting.code, "de");
  EXPECT_EQ(told.texts, Texts{"You must restart the application for the language switch to take "
                              "effect."});
  EXPECT_STREQ(translator.translate("Cancel"), "Cancel");
}

TEST_F(Translator, global_text_is_translated_once_while_there_is_a_translator)
{
  UGlobalText text("Yes");
  {
    UTranslator german;
    german.setLanguage("de");
    EXPECT_STREQ(text.text(), "Ja");
    german.setLanguage("fr");
    EXPECT_STREQ(text.text(), "Ja");
    EXPECT_TRUE(text.isTranslated());
  }
  EXPECT_STREQ(text.text(), "Yes");
  EXPECT_FALSE(text.isTranslated());
}

TEST_F(Translator, texts_fill_pool_after_pool_and_stay_where_they_are)
{
  UTextPool pool;
  const std::string_view exact = pool.add(std::string(UTextPool::blockBytes - 1, 'a'));
  EXPECT_EQ(pool.blockCount(), 1u);
  const std::string_view next = pool.add("b");
  pool.add(std::string(3 * UTextPool::blockBytes, 'c'));
  EXPECT_EQ(pool.blockCount(), 3u);
  EXPECT_EQ(pool.add("d").data()[1], 0);
  EXPECT_EQ(pool.blockCount(), 4u);
  EXPECT_TRUE(exact.back() == 'a' && next == "b" && next.data()[1] == 0);
}

TEST_F(Translator, nesting_ends_in_a_fault_however_deep)
{
  for (const char* piece : {"<LanguageTable>", "<StringTable>", "<x>", "<Eng>",
                            "<language key=\"de\">", "<String Key=\"k\">"})
    for (const char* before : {"", "<LanguageTable>", "<StringTable>"}) {
      std::string text = before;
      for (int i = 0; i < 10000; ++i)
        text += piece;
      EXPECT_NE(faultOf(text), "") << before << piece;
    }
}

TEST_F(Translator, shipped_file_has_every_text_in_every_language)
{
  std::ifstream file(ORBI_SHARE_FOLDER "/translation.xml", std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  size_t keys = 0;
  for (size_t at = text.find("Key="); at != std::string::npos; at = text.find("Key=", at + 1))
    ++keys;
  ASSERT_GT(keys, 40u);
  UTranslator shipped;
  for (const ULanguage& language : {ULanguage{"", "en"}, {"", "de"}, {"", "fr"}, {"", "ja"}}) {
    shipped.setLanguage(language.code);
    ASSERT_TRUE(shipped.load(text));
    EXPECT_EQ(shipped.textCount(), keys) << language.code;
  }
  EXPECT_EQ(shipped.menuNames(), (Texts{"English", "Deutsch", "Français", "日本語"}));
  EXPECT_TRUE(told.texts.empty());
}

TEST(SystemLanguage, is_named_by_the_first_variable_that_says_something)
{
  struct Case {
    const char* all;
    const char* messages;
    const char* lang;
    const char* language;
  };
  constexpr Case cases[] = {{"fr_CA.UTF-8", "de", "ja", "fr"},
                            {"", "de_AT@euro", "ja", "de"},
                            {nullptr, nullptr, "JA", "ja"},
                            {"C", "de", "de", "en"},
                            {"POSIX", "", "", "en"},
                            {"", "C.UTF-8", "de", "en"},
                            {nullptr, nullptr, nullptr, "en"},
                            {"gsw_CH", "", "", "en"},
                            {"d_", "", "", "en"}};
  for (const Case& c : cases) {
    const std::pair<const char*, const char*> variables[] = {
        {"LC_ALL", c.all}, {"LC_MESSAGES", c.messages}, {"LANG", c.lang}};
    for (auto [name, value] : variables)
      value ? setenv(name, value, 1) : unsetenv(name);
    EXPECT_EQ(platform::systemLanguage(), c.language) << c.language;
  }
}
