#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_child_window.h"

#include "platform/linux/x11_window.h"
#include "platform/linux/x11_window_system.h"
#include "platform/utf8_text.h"

namespace orbi::platform {

constexpr uint32_t buttonFace = 0xf0f0f0; // until the plug-in draws

std::unique_ptr<X11ChildWindow> X11ChildWindow::make(X11WindowSystem& system, xcb_window_t parent,
                                                     const Rect& bounds, std::string_view name)
{
  X11Display& display = system.display();
  const X11Library& x = display.x;
  const X11Visual& visual = display.plainVisual();
  const Rect place = clampedForX11(bounds);
  const xcb_window_t id = x.xcb_generate_id(display.connection);
  const uint32_t values[] = {buttonFace, 0, XCB_EVENT_MASK_STRUCTURE_NOTIFY, visual.colormap};
  const auto made = x.xcb_create_window_checked(
      display.connection, visual.depth, id, parent, static_cast<int16_t>(place.left),
      static_cast<int16_t>(place.top), static_cast<uint16_t>(place.width()),
      static_cast<uint16_t>(place.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
      visual.type->visual_id,
      XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP, values);
  xcb_generic_error_t* error = x.xcb_request_check(display.connection, made);
  std::free(error);
  if (error != nullptr || display.isLost())
    return nullptr;
  display.setBytes(id, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, validUtf8(name.substr(0, 256)));
  constexpr std::string_view kind("plugin\0ORBPluginWindow", 23);
  display.setBytes(id, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, kind);
  x.xcb_map_window(display.connection, id);
  x.xcb_flush(display.connection);
  return std::unique_ptr<X11ChildWindow>(new X11ChildWindow(system, id, parent));
}

X11ChildWindow::X11ChildWindow(X11WindowSystem& system, xcb_window_t id, xcb_window_t parent)
    : system_(&system), id_(id), parent_(parent)
{
  system.add(*this, id);
}

X11ChildWindow::~X11ChildWindow()
{
  if (system_ == nullptr)
    return;
  X11Display& display = system_->display();
  system_->remove(*this);
  display.x.xcb_destroy_window(display.connection, id_);
  display.x.xcb_flush(display.connection);
}

void X11ChildWindow::markDead()
{
  system_ = nullptr;
}

void* X11ChildWindow::handle() const
{
  return reinterpret_cast<void*>(static_cast<uintptr_t>(id_));
}

void X11ChildWindow::setBounds(const Rect& bounds)
{
  if (system_ == nullptr)
    return;
  const Rect place = clampedForX11(bounds);
  const uint32_t values[] = {static_cast<uint32_t>(place.left), static_cast<uint32_t>(place.top),
                             static_cast<uint32_t>(place.width()),
                             static_cast<uint32_t>(place.height())};
  const X11Display& display = system_->display();
  display.x.xcb_configure_window(display.connection, id_,
                                 XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y |
                                     XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                                 values);
}

Rect X11ChildWindow::bounds() const
{
  if (system_ == nullptr)
    return {};
  const X11Display& display = system_->display();
  const auto place = display.reply(display.x.xcb_get_geometry_reply,
                                   display.x.xcb_get_geometry(display.connection, id_));
  if (!place)
    return {};
  return Rect::at({place->x, place->y}, {place->width, place->height});
}

} // namespace orbi::platform

#endif
