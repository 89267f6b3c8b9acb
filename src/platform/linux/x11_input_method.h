#pragma once

#include "platform/linux/system_library.h"
#include "platform/linux/x11_display.h"

#include <cstdint>
#include <vector>

namespace orbi::platform {

class X11Window;
class X11WindowSystem;

/// Asks the user's input method, another program, about each stroke before we take it. It gives
/// back those that it has no use for, and text that it made of the others.
class X11InputMethod {
public:
  /// Null when the user has none, or its library is missing.
  static std::unique_ptr<X11InputMethod> open(X11WindowSystem& system);
  ~X11InputMethod();
  X11InputMethod(const X11InputMethod&) = delete;
  X11InputMethod& operator=(const X11InputMethod&) = delete;

  bool filter(xcb_generic_event_t& event);       ///< true for what it has to say to us
  bool take(const xcb_key_press_event_t& event); ///< true when the stroke went to it
  void focus(const X11Window& window);
  void unfocus();

private:
  struct Private;
  explicit X11InputMethod(std::unique_ptr<Private> own);
  std::unique_ptr<Private> own_;
};

} // namespace orbi::platform
