#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_cursors.h"

namespace orbi::platform {

namespace {

struct Shape {
  Cursor cursor;
  const char* names[2]; ///< in themes, which differ in them
  uint16_t glyph;       ///< in the server's own font
};

constexpr Shape shapes[] = {
    {Cursor::arrow, {"default", "left_ptr"}, 68},
    {Cursor::text, {"text", "xterm"}, 152},
    {Cursor::hand, {"pointer", "hand2"}, 60},
    {Cursor::cross, {"crosshair", "cross"}, 34},
    {Cursor::wait, {"wait", "watch"}, 150},
    {Cursor::move, {"move", "fleur"}, 52},
    {Cursor::sizeHorizontal, {"ew-resize", "sb_h_double_arrow"}, 108},
    {Cursor::sizeVertical, {"ns-resize", "sb_v_double_arrow"}, 116},
    {Cursor::sizeFalling, {"nwse-resize", "bottom_right_corner"}, 14},
    {Cursor::sizeRising, {"nesw-resize", "bottom_left_corner"}, 12},
    {Cursor::forbidden, {"not-allowed", "X_cursor"}, 0},
};

} // namespace

X11Cursors::~X11Cursors()
{
  if (context_ != nullptr)
    display_.x.xcb_cursor_context_free(context_);
}

xcb_cursor_t X11Cursors::find(Cursor cursor)
{
  xcb_cursor_t& result = made_[static_cast<size_t>(cursor)];
  if (result == 0)
    result = cursor == Cursor::none ? makeEmpty() : make(cursor);
  return result;
}

xcb_cursor_t X11Cursors::make(Cursor cursor)
{
  const X11Library& x = display_.x;
  if (context_ == nullptr && x.hasCursors() &&
      x.xcb_cursor_context_new(display_.connection, display_.screen(), &context_) < 0)
    context_ = nullptr;
  for (const Shape& shape : shapes) {
    if (shape.cursor != cursor)
      continue;
    for (const char* name : shape.names)
      if (const xcb_cursor_t found =
              context_ != nullptr ? x.xcb_cursor_load_cursor(context_, name) : XCB_NONE)
        return found;
    return makePlain(shape.glyph);
  }
  return XCB_NONE;
}

xcb_cursor_t X11Cursors::makeEmpty()
{
  const X11Library& x = display_.x;
  const xcb_pixmap_t nothing = x.xcb_generate_id(display_.connection);
  x.xcb_create_pixmap(display_.connection, 1, nothing, display_.root(), 1, 1);
  const xcb_gcontext_t context = x.xcb_generate_id(display_.connection);
  const uint32_t clear = 0;
  x.xcb_create_gc(display_.connection, context, nothing, XCB_GC_FOREGROUND, &clear);
  const xcb_rectangle_t all{0, 0, 1, 1};
  x.xcb_poly_fill_rectangle(display_.connection, nothing, context, 1, &all);
  const xcb_cursor_t result = x.xcb_generate_id(display_.connection);
  x.xcb_create_cursor(display_.connection, result, nothing, nothing, 0, 0, 0, 0, 0, 0, 0, 0);
  x.xcb_free_gc(display_.connection, context);
  x.xcb_free_pixmap(display_.connection, nothing);
  return result;
}

xcb_cursor_t X11Cursors::makePlain(uint16_t glyph)
{
  const X11Library& x = display_.x;
  if (font_ == 0) {
    font_ = x.xcb_generate_id(display_.connection);
    constexpr std::string_view name = "cursor";
    x.xcb_open_font(display_.connection, font_, name.size(), name.data());
  }
  const xcb_cursor_t result = x.xcb_generate_id(display_.connection);
  constexpr uint16_t white = 0xffff;
  const auto mask = static_cast<uint16_t>(glyph + 1);
  x.xcb_create_glyph_cursor(display_.connection, result, font_, font_, glyph, mask, 0, 0, 0, white,
                            white, white);
  return result;
}

} // namespace orbi::platform

#endif
