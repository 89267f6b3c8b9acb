#pragma once

#include "platform/window_system.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orbi {

/// The toolkit's numbers of keys. Plug-ins and key command files know them, too.
enum UKey : uint8_t {
  keyNone = 0,
  keyBack,
  keyTab,
  keyClear,
  keyReturn,
  keyPause,
  keyEscape,
  keySpace,
  keyNext,
  keyEnd,
  keyHome,
  keyArrowLeft,
  keyArrowUp,
  keyArrowRight,
  keyArrowDown,
  keyPageUp,
  keyPageDown,
  keySelect,
  keyPrint,
  keyEnter, ///< of the pad
  keySnapshot,
  keyInsert,
  keyDelete,
  keyHelp,
  keyPad0,
  keyPad9 = keyPad0 + 9,
  keyMultiply,
  keyAdd,
  keySeparator,
  keySubtract,
  keyDecimal,
  keyDivide,
  keyF1,
  keyF10 = keyF1 + 9,
  keyF12 = keyF1 + 11,
  keyNumLock,
  keyScrollLock,
  keyShift,
  keyControl,
  keyAlt,
  keyEquals,         ///< of the pad
  keyDigit0 = 0x87,  ///< to 0x90, of the letters' block
  keyLetterA = 0x91, ///< to 0xAA
};

/// A key stroke, or a key that a command is bound to.
struct UKeyCode {
  char32_t character = 0; ///< what the stroke types; 0 for none
  uint8_t key = keyNone;  ///< UKey; keyNone for a sign that has no number
  uint8_t modifiers = 0;  ///< bits of platform::Modifiers

  UKeyCode() = default;
  constexpr UKeyCode(char32_t typed, uint8_t code, uint32_t held)
      : character(typed), key(code), modifiers(static_cast<uint8_t>(held))
  {
  }

  /// Reads "Ctrl+Shift+S", "Pad /", "Up Arrow", "Shift+F1", "+": modifiers in any order, names and
  /// letters in either case. A text that names no key gives one that isn't valid.
  static UKeyCode parse(std::string_view text);
  std::string text() const; ///< that parse reads; empty for none

  bool isValid() const { return key != keyNone || character != 0; }
  /// Equal for strokes that bind the same command, however they were typed: the sign counts only
  /// where the key has no number, and without its case. 0 for none.
  uint32_t id() const;
  bool has(uint32_t modifier) const { return (modifiers & modifier) != 0; }
  bool isOnly(uint32_t held) const { return modifiers == held; }

  friend bool operator==(const UKeyCode&, const UKeyCode&) = default;
};

/// What an event of the window system means here: one for each sign that it types, at least one.
/// Empty for keys that mean nothing to the toolkit.
std::vector<UKeyCode> keyCodesOf(const platform::KeyEvent& event);

} // namespace orbi
