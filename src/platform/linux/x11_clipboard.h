#pragma once

#include "platform/linux/x11_display.h"

#include <deque>
#include <functional>

namespace orbi::platform {

class X11WindowSystem;

/// The text that the user copied last, here or elsewhere.
class X11Clipboard {
public:
  explicit X11Clipboard(X11WindowSystem& system) : system_(system) {}

  void set(std::string text); ///< handed out until somebody else copies
  std::string read();         ///< of others: waits half a second for each part of it

  void answer(const xcb_selection_request_event_t& request);
  void forget() { text_.reset(); } ///< somebody else has copied

  // Of one to whom a long text is given in parts; false: it is about something else
  bool handle(const xcb_property_notify_event_t& event);
  bool handle(const xcb_destroy_notify_event_t& event);

private:
  using Test = std::function<bool(const xcb_generic_event_t&)>;
  X11Reply<xcb_generic_event_t> await(int64_t nanoseconds, const Test& test);
  bool ask(xcb_atom_t target);
  X11Display::Part take();
  std::string takeParts();
  bool give(const xcb_selection_request_event_t& request, xcb_atom_t property);

  /// A text on its way to somebody who takes it away part by part.
  struct Transfer {
    xcb_window_t window;
    xcb_atom_t property;
    xcb_atom_t type;
    std::string text;
    size_t given = 0;
  };
  bool giveInParts(Transfer transfer);
  void end(std::deque<Transfer>::iterator transfer);

  X11WindowSystem& system_;
  std::deque<Transfer> transfers_;  // the oldest first
  std::optional<std::string> text_; // while it is ours
};

} // namespace orbi::platform
