#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_drop_relay.h"

#include "platform/linux/x11_window_system.h"

#include <algorithm>

namespace orbi::platform {

constexpr int deepestWindow = 64; // more levels aren't followed

xcb_window_t X11DropRelay::find(xcb_window_t top, Point place) const
{
  const X11Display& display = system_.display();
  xcb_window_t result = 0;
  xcb_window_t each = top;
  for (int level = 0; level < deepestWindow && each != XCB_NONE; ++level) {
    if (!system_.isOurs(each) &&
        !display.numbers(each, display.atoms.xdndAware, XCB_ATOM_ATOM).empty())
      result = each;
    const auto inside =
        display.reply(display.x.xcb_translate_coordinates_reply,
                      display.x.xcb_translate_coordinates(display.connection, display.root(), each,
                                                          static_cast<int16_t>(place.x),
                                                          static_cast<int16_t>(place.y)));
    each = inside ? inside->child : xcb_window_t(XCB_NONE);
  }
  return result;
}

bool X11DropRelay::enter(xcb_window_t target, const X11Display::Message& entered)
{
  X11Display& display = system_.display();
  const X11Atoms& atoms = display.atoms;
  leave();
  if (!display.watch(target, XCB_EVENT_MASK_STRUCTURE_NOTIFY))
    return false;
  const auto spoken = display.numbers(target, atoms.xdndAware, XCB_ATOM_ATOM);
  target_ = target;
  knowsPlace_ = false;
  version_ = std::min(entered[1] >> 24, spoken.empty() ? 0u : spoken.front());
  for (const xcb_atom_t list : {atoms.xdndTypeList, atoms.xdndActionList})
    display.setNumbers(system_.leader(), list, XCB_ATOM_ATOM,
                       display.numbers(entered[0], list, XCB_ATOM_ATOM));
  send(atoms.xdndEnter,
       {0, version_ << 24 | (entered[1] & 0xffffff), entered[2], entered[3], entered[4]});
  return true;
}

void X11DropRelay::position(Point place, xcb_timestamp_t time, xcb_atom_t action)
{
  knowsPlace_ = true;
  const uint32_t packed =
      static_cast<uint32_t>(place.x) << 16 | (static_cast<uint32_t>(place.y) & 0xffff);
  send(system_.display().atoms.xdndPosition, {0, 0, packed, time, action});
}

void X11DropRelay::drop(Point place, xcb_timestamp_t time, xcb_atom_t action)
{
  if (!knowsPlace_)
    position(place, time, action);
  send(system_.display().atoms.xdndDrop, {0, 0, time, 0, 0});
}

void X11DropRelay::leave()
{
  if (target_ != 0)
    send(system_.display().atoms.xdndLeave, {});
  forget();
}

void X11DropRelay::forget()
{
  if (target_ != 0)
    system_.display().unwatch(target_, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
  target_ = 0;
}

void X11DropRelay::send(xcb_atom_t type, X11Display::Message data) const
{
  data[0] = system_.leader();
  system_.display().send(target_, target_, type, data);
}

} // namespace orbi::platform

#endif
