#include "ui/views/key_code.h"
#include "ui/views/text_place.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace orbi;
using testing::ElementsAre;

TEST(KeyCode, text_is_read_back_as_the_key_it_came_from)
{
  for (const char* text : {"Ctrl+Shift+S", "Pad /", "Up Arrow", "Shift+F1", "Alt+Page Down", "+",
                           "Ctrl++", "7", "Ctrl+Pad +", "Super+Space", "Ä", "Ctrl", "F12"})
    EXPECT_EQ(UKeyCode::parse(text).text(), text);
  EXPECT_EQ(UKeyCode::parse("shift+ctrl+s"), UKeyCode(0, 0xA3, 5));
  EXPECT_EQ(UKeyCode::parse("pad 9").key, 33);
  EXPECT_EQ(UKeyCode::parse("F12").key, 51);
  EXPECT_EQ(UKeyCode::parse("9").key, 0x90);
  for (const char* none : {"", "Ctrl+", "Hyper+S", "F13", "AB", " ", "\xFF\xFE"})
    EXPECT_FALSE(UKeyCode::parse(none).isValid()) << none;
}

TEST(KeyCode, binds_by_key_or_by_sign_however_it_was_typed)
{
  const auto typed = [](platform::Key key, const char* text, uint32_t held) {
    return keyCodesOf({key, text, held}).at(0).id();
  };
  EXPECT_EQ(typed(platform::Key('S'), "", platform::controlKey), UKeyCode::parse("Ctrl+S").id());
  EXPECT_EQ(typed(platform::Key('S'), "S", platform::shiftKey), UKeyCode::parse("Shift+S").id());
  EXPECT_EQ(typed(platform::Key::none, "?", platform::shiftKey), UKeyCode::parse("?").id());
  EXPECT_EQ(typed(platform::Key::none, "ä", 0), UKeyCode::parse("Ä").id());
  EXPECT_NE(UKeyCode::parse("7").id(), UKeyCode::parse("Pad 7").id());
}

TEST(KeyCode, one_stroke_that_types_several_signs_is_a_key_for_each)
{
  EXPECT_THAT(keyCodesOf({platform::Key('E'), "eé", 0}),
              ElementsAre(UKeyCode('e', 0x95, 0), UKeyCode(U'é', 0, 0)));
  EXPECT_TRUE(keyCodesOf({platform::Key::capsLock, "", 0}).empty());
}

TEST(TextPlace, walks_whole_characters_and_stray_bytes_both_ways)
{
  const std::string_view text = "a\xC3\xA9\xFFz\xE2\x82"; // the last one is cut off
  std::vector<size_t> forward, backward;
  for (size_t at = 0; at < text.size(); at = nextCharacter(text, at))
    forward.push_back(at);
  for (size_t at = text.size(); at > 0;)
    backward.insert(backward.begin(), at = previousCharacter(text, at));
  EXPECT_THAT(forward, ElementsAre(0, 1, 3, 4, 5, 6));
  EXPECT_EQ(backward, forward);
  EXPECT_EQ(nextWord("one, two", 3), 8u);
  EXPECT_EQ(previousWord("one, two", 5), 0u);
}
