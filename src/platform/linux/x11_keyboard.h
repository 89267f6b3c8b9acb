#pragma once

#include "platform/linux/x11_display.h"
#include "platform/window_system.h"

#include <array>
#include <optional>

namespace orbi::platform {

uint32_t modifiersOfState(uint16_t state); ///< from the state that comes with a key or a button
uint32_t buttonsOfState(uint16_t state);

/// Turns strokes into keys and text by the layout that the server has at the moment.
class X11Keyboard {
public:
  static std::unique_ptr<X11Keyboard> open(const X11Display& display, std::string& error);
  ~X11Keyboard();
  X11Keyboard(const X11Keyboard&) = delete;
  X11Keyboard& operator=(const X11Keyboard&) = delete;

  /// Nothing for a stroke that only adds to a sign that is being composed.
  std::optional<KeyEvent> press(const xcb_key_press_event_t& event);
  /// Nothing for a key whose press wasn't told either.
  std::optional<KeyEvent> release(const xcb_key_release_event_t& event);
  /// Takes one that is down, as its release will never be heard. Nothing when none is left.
  std::optional<KeyEvent> releaseAny();

  bool handle(const xcb_generic_event_t& event); ///< true for one of the keyboard extension's
  void forgetComposing();

private:
  explicit X11Keyboard(const X11Display& display);
  bool load();
  void drop();
  void openCompose();
  void follow(uint16_t state);
  Key keyOf(xcb_keycode_t code) const;
  xkb_keysym_t plainSign(xcb_keycode_t code) const;
  std::string textOf(const xcb_key_press_event_t& event) const;

  enum class Composed { no, partly, done };
  Composed compose(const xcb_key_press_event_t& event, std::string& text);

  const X11Display& display_;
  const X11Library& x_;
  xkb_context* context_ = nullptr;
  xkb_keymap* keymap_ = nullptr;
  xkb_state* state_ = nullptr;
  xkb_compose_table* composeTable_ = nullptr; // null where the locale has none
  xkb_compose_state* composeState_ = nullptr;
  int32_t device_ = -1;
  uint8_t firstEvent_ = 0;
  bool isStale_ = false; // the server has another layout, which the next stroke fetches
  std::array<std::optional<Key>, 256> down_; // by key code, what was told
};

} // namespace orbi::platform
