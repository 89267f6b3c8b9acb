#pragma once

#include "platform/linux/x11_display.h"

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

private:
  using Test = std::function<bool(const xcb_generic_event_t&)>;
  X11Reply<xcb_generic_event_t> await(int64_t nanoseconds, const Test& test);
  bool ask(xcb_atom_t target);
  struct Part {
    xcb_atom_t type = XCB_ATOM_NONE; ///< none when there is no property
    std::string bytes;
  };
  Part take();
  std::string takeParts();
  bool give(const xcb_selection_request_event_t& request, xcb_atom_t property) const;

  X11WindowSystem& system_;
  std::optional<std::string> text_; // while it is ours
};

} // namespace orbi::platform
