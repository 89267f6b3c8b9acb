#pragma once

#include "platform/linux/x11_display.h"
#include "platform/window_system.h"

#include <array>

namespace orbi::platform {

/// The pointer's shapes, of the user's theme where there is one, made when they are first needed.
class X11Cursors {
public:
  explicit X11Cursors(const X11Display& display) : display_(display) {}
  ~X11Cursors();
  X11Cursors(const X11Cursors&) = delete;
  X11Cursors& operator=(const X11Cursors&) = delete;

  xcb_cursor_t find(Cursor cursor);

private:
  xcb_cursor_t make(Cursor cursor);
  xcb_cursor_t makeEmpty();
  xcb_cursor_t makePlain(uint16_t glyph);

  const X11Display& display_;
  xcb_cursor_context_t* context_ = nullptr;
  xcb_font_t font_ = 0;
  std::array<xcb_cursor_t, static_cast<size_t>(Cursor::none) + 1> made_{};
};

} // namespace orbi::platform
