#include "ui/views/key_code.h"

#include "ui/views/text_place.h"

#include <algorithm>

namespace orbi {

namespace {

using platform::Key;

struct KeyRow {
  uint8_t key;
  Key event; ///< Key::none where the window system has no such key
  std::string_view name;
};

constexpr Key after(Key first, uint32_t offset)
{
  return static_cast<Key>(static_cast<uint32_t>(first) + offset);
}
constexpr uint8_t plus(UKey first, int offset)
{
  return static_cast<uint8_t>(first + offset);
}

constexpr KeyRow keyRows[] = {
    {keyBack, Key::backspace, "Backspace"},
    {keyTab, Key::tab, "Tab"},
    {keyClear, Key::none, "Clear"},
    {keyReturn, Key::enter, "Return"},
    {keyPause, Key::pause, "Pause"},
    {keyEscape, Key::escape, "Escape"},
    {keySpace, Key::space, "Space"},
    {keyNext, Key::none, "Next"},
    {keyEnd, Key::end, "End"},
    {keyHome, Key::home, "Home"},
    {keyArrowLeft, Key::left, "Left Arrow"},
    {keyArrowUp, Key::up, "Up Arrow"},
    {keyArrowRight, Key::right, "Right Arrow"},
    {keyArrowDown, Key::down, "Down Arrow"},
    {keyPageUp, Key::pageUp, "Page Up"},
    {keyPageDown, Key::pageDown, "Page Down"},
    {keySelect, Key::none, "Select"},
    {keyPrint, Key::print, "Print"},
    {keyEnter, Key::padEnter, "Enter"},
    {keySnapshot, Key::none, "Snapshot"},
    {keyInsert, Key::insert, "Insert"},
    {keyDelete, Key::remove, "Delete"},
    {keyHelp, Key::help, "Help"},
    {plus(keyPad0, 0), after(Key::pad0, 0), "Pad 0"},
    {plus(keyPad0, 1), after(Key::pad0, 1), "Pad 1"},
    {plus(keyPad0, 2), after(Key::pad0, 2), "Pad 2"},
    {plus(keyPad0, 3), after(Key::pad0, 3), "Pad 3"},
    {plus(keyPad0, 4), after(Key::pad0, 4), "Pad 4"},
    {plus(keyPad0, 5), after(Key::pad0, 5), "Pad 5"},
    {plus(keyPad0, 6), after(Key::pad0, 6), "Pad 6"},
    {plus(keyPad0, 7), after(Key::pad0, 7), "Pad 7"},
    {plus(keyPad0, 8), after(Key::pad0, 8), "Pad 8"},
    {plus(keyPad0, 9), after(Key::pad0, 9), "Pad 9"},
    {keyMultiply, Key::padMultiply, "Pad *"},
    {keyAdd, Key::padAdd, "Pad +"},
    {keySeparator, Key::padSeparator, "Pad ,"},
    {keySubtract, Key::padSubtract, "Pad -"},
    {keyDecimal, Key::padDecimal, "Pad ."},
    {keyDivide, Key::padDivide, "Pad /"},
    {plus(keyF1, 0), after(Key::f1, 0), "F1"},
    {plus(keyF1, 1), after(Key::f1, 1), "F2"},
    {plus(keyF1, 2), after(Key::f1, 2), "F3"},
    {plus(keyF1, 3), after(Key::f1, 3), "F4"},
    {plus(keyF1, 4), after(Key::f1, 4), "F5"},
    {plus(keyF1, 5), after(Key::f1, 5), "F6"},
    {plus(keyF1, 6), after(Key::f1, 6), "F7"},
    {plus(keyF1, 7), after(Key::f1, 7), "F8"},
    {plus(keyF1, 8), after(Key::f1, 8), "F9"},
    {plus(keyF1, 9), after(Key::f1, 9), "F10"},
    {plus(keyF1, 10), after(Key::f1, 10), "F11"},
    {plus(keyF1, 11), after(Key::f1, 11), "F12"},
    {keyNumLock, Key::numLock, "Num Lock"},
    {keyScrollLock, Key::scrollLock, "Scroll Lock"},
    {keyShift, Key::shift, "Shift"},
    {keyControl, Key::control, "Ctrl"},
    {keyAlt, Key::alt, "Alt"},
    {keyEquals, Key::padEquals, "Pad ="},
};

struct ModifierRow {
  uint32_t bit;
  std::string_view prefix;
};

/// In the order in which menus show them.
constexpr ModifierRow modifierRows[] = {{platform::controlKey, "Ctrl+"},
                                        {platform::altKey, "Alt+"},
                                        {platform::shiftKey, "Shift+"},
                                        {platform::superKey, "Super+"}};

constexpr char upper(char c)
{
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
}

bool sameName(std::string_view a, std::string_view b)
{
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return upper(x) == upper(y); });
}

bool startsWith(std::string_view text, std::string_view prefix)
{
  return sameName(text.substr(0, prefix.size()), prefix);
}

/// The number of a letter or digit given as its capital; 0 for other signs.
uint8_t keyOfSign(char32_t sign)
{
  if (sign >= 'A' && sign <= 'Z')
    return static_cast<uint8_t>(keyLetterA + (sign - 'A'));
  if (sign >= '0' && sign <= '9')
    return static_cast<uint8_t>(keyDigit0 + (sign - '0'));
  return keyNone;
}

char32_t signOfKey(uint8_t key)
{
  if (key >= keyLetterA && key < keyLetterA + 26)
    return static_cast<char32_t>('A' + (key - keyLetterA));
  if (key >= keyDigit0 && key < keyDigit0 + 10)
    return static_cast<char32_t>('0' + (key - keyDigit0));
  return 0;
}

uint8_t keyOfEvent(Key event)
{
  const auto row = std::find_if(std::begin(keyRows), std::end(keyRows), [=](const KeyRow& each) {
    return each.event == event && event != Key::none;
  });
  return row != std::end(keyRows) ? row->key : keyOfSign(static_cast<char32_t>(event));
}

} // namespace

UKeyCode UKeyCode::parse(std::string_view text)
{
  uint32_t held = 0;
  for (bool found = true; found;) {
    found = false;
    for (const ModifierRow& row : modifierRows)
      if (startsWith(text, row.prefix) && text.size() > row.prefix.size()) {
        held |= row.bit;
        text.remove_prefix(row.prefix.size());
        found = true;
      }
  }
  for (const KeyRow& row : keyRows)
    if (sameName(text, row.name))
      return {0, row.key, held};
  const char32_t sign = characterAt(text, 0);
  if (text.empty() || nextCharacter(text, 0) != text.size() || sign <= ' ')
    return {};
  const uint8_t key = keyOfSign(upperLetter(sign));
  return {key ? U'\0' : sign, key, held};
}

std::string UKeyCode::text() const
{
  std::string result;
  if (!isValid())
    return result;
  for (const ModifierRow& row : modifierRows)
    if (has(row.bit))
      result += row.prefix;
  for (const KeyRow& row : keyRows)
    if (row.key == key)
      return result.append(row.name);
  appendCharacter(result, key ? signOfKey(key) : upperLetter(character));
  return result;
}

uint32_t UKeyCode::id() const
{
  if (!isValid())
    return 0;
  if (key)
    return uint32_t{modifiers} << 24 | 0x800000u | key;
  // Shift is what some layouts need to reach the sign.
  return uint32_t(modifiers & ~platform::shiftKey) << 24 | (upperLetter(character) & 0x1FFFFFu);
}

std::vector<UKeyCode> keyCodesOf(const platform::KeyEvent& event)
{
  const uint8_t key = keyOfEvent(event.key);
  std::vector<UKeyCode> codes;
  for (size_t at = 0; at < event.text.size(); at = nextCharacter(event.text, at))
    codes.emplace_back(characterAt(event.text, at), codes.empty() ? key : uint8_t{keyNone},
                       event.modifiers & 15u);
  if (codes.empty() && key)
    codes.emplace_back(U'\0', key, event.modifiers & 15u);
  return codes;
}

} // namespace orbi
