#pragma once

#include "platform/linux/x11_display.h"
#include "platform/run_loop.h"

#include <deque>
#include <functional>

namespace orbi::platform {

class X11WindowSystem;

/// The text that the user copied last, here or elsewhere.
class X11Clipboard {
public:
  explicit X11Clipboard(X11WindowSystem& system) : system_(system) {}
  ~X11Clipboard() { stopWaiting(); }
  X11Clipboard(const X11Clipboard&) = delete;
  X11Clipboard& operator=(const X11Clipboard&) = delete;

  void set(std::string text); ///< handed out until somebody else copies
  std::string read();         ///< of others: waits a second for all of it, or is empty

  void answer(const xcb_selection_request_event_t& request);
  void forget(); ///< somebody else has copied

  // Of a long text on its way in parts; false: it is about something else
  bool handle(const xcb_property_notify_event_t& event);
  bool handle(const xcb_destroy_notify_event_t& event);

private:
  using Test = std::function<bool(const xcb_generic_event_t&)>;
  X11Reply<xcb_generic_event_t> await(int64_t end, const Test& test);
  bool ask(xcb_atom_t target, int64_t end);
  X11Display::Part take();
  std::string takeParts(int64_t end);
  bool give(const xcb_selection_request_event_t& request, xcb_atom_t property);

  using Text = std::shared_ptr<const std::string>;
  Text inLatin1();

  /// A text on its way to somebody who takes it away part by part.
  struct Transfer {
    xcb_window_t window;
    xcb_atom_t property;
    xcb_atom_t type;
    Text text;
    size_t given = 0;    ///< bytes
    bool isTaken = true; ///< since `dropIdle` last looked
  };
  using Transfers = std::deque<Transfer>;
  Transfers::iterator find(xcb_window_t window, xcb_atom_t property);
  bool giveInParts(Transfer transfer);
  Transfers::iterator end(Transfers::iterator transfer);
  Transfers::iterator drop(Transfers::iterator transfer);
  void dropIdle();
  void stopWaiting();

  X11WindowSystem& system_;
  Transfers transfers_;        // the oldest first
  RunLoop::TimerId timer_ = 0; // 0 while there are none
  Text text_;                  // null while it isn't ours
  Text latin1_;                // likewise, and until it's asked for
};

} // namespace orbi::platform
