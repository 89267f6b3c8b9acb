#pragma once

#include "platform/linux/x11_display.h"

namespace orbi::platform {

class X11WindowSystem;

/// Hands a drag on to a window that a plug-in has made within one of ours. Programs that drag look
/// at top windows only and expect answers from these, so that the plug-in's window takes us for the
/// one who drags: it answers us. The data it gets from their owner itself.
class X11DropRelay {
public:
  explicit X11DropRelay(X11WindowSystem& system) : system_(system) {}

  /// The deepest window that takes drops at a place on the root, below one of ours; 0 for none.
  xcb_window_t find(xcb_window_t top, Point place) const;
  xcb_window_t target() const { return target_; } ///< over which the drag is; 0 for none
  uint32_t version() const { return version_; }   ///< of the protocol that it and we speak

  /// Enters it, with what the program that drags said as it entered ours. False when it's gone.
  bool enter(xcb_window_t target, const X11Display::Message& entered);
  void position(Point place, xcb_timestamp_t time, xcb_atom_t action);
  void drop(Point place, xcb_timestamp_t time, xcb_atom_t action);
  void leave();  ///< unless it has got the drop
  void forget(); ///< without a word

private:
  void send(xcb_atom_t type, X11Display::Message data) const;

  X11WindowSystem& system_;
  xcb_window_t target_ = 0;
  uint32_t version_ = 0;
  bool knowsPlace_ = false; // a drop comes after a position
};

} // namespace orbi::platform
