#pragma once

#include "platform/linux/x11_drop_relay.h"
#include "platform/run_loop.h"
#include "platform/window_system.h"

namespace orbi::platform {

class X11Window;

/// Takes what the user drags onto one of our windows: the listener's files for the listener, all
/// else for the plug-in's window under the pointer. Nobody who drags waits for ever, whatever the
/// plug-in does.
class X11DropTarget {
public:
  explicit X11DropTarget(X11WindowSystem& system) : system_(system), relay_(system) {}
  ~X11DropTarget() { stopWaiting(); }
  X11DropTarget(const X11DropTarget&) = delete;
  X11DropTarget& operator=(const X11DropTarget&) = delete;

  // Each passes over what is none of a drag's
  void handle(const xcb_client_message_event_t& event);
  void handle(const xcb_selection_notify_event_t& event);
  bool handle(const xcb_property_notify_event_t& event); ///< false: it is about something else
  void handle(const xcb_destroy_notify_event_t& event);

  void forget(xcb_window_t window); ///< that goes
  void forget();                    ///< the display has gone

private:
  /// Of URIs, which is asked for once the pointer has come over us.
  enum class List { none, unread, asked, arriving, read, withheld };
  struct Drag {
    X11Display::Message entered; ///< by the one who drags, named in front
    xcb_window_t window;         ///< ours
    List list = List::none;
    xcb_timestamp_t asked = XCB_CURRENT_TIME; ///< when it was, by the drag's own time
    std::string uris = {};
    std::vector<std::filesystem::path> files = {};
    Point at = {}; ///< on the root
    xcb_timestamp_t time = XCB_CURRENT_TIME;
    xcb_atom_t action = XCB_ATOM_NONE;
    bool owesStatus = false;
    bool isDropped = false;

    xcb_window_t source() const { return entered[0]; }
  };

  void enter(const xcb_client_message_event_t& event);
  void position(const xcb_client_message_event_t& event);
  void drop(const xcb_client_message_event_t& event);
  void leave(const xcb_client_message_event_t& event);
  void childAnswered(const xcb_client_message_event_t& event);
  void childFinished(const xcb_client_message_event_t& event);
  struct Handler;
  static const Handler handlers[];

  bool isOf(const xcb_client_message_event_t& event) const;
  bool offersFiles(const X11Display::Message& entered) const;
  void askForList();
  void listCame(std::string uris);
  void listIsWithheld();
  void goOn();
  DropTaker taker();
  void handOn();
  void deliver();
  void answer(bool accepts, xcb_atom_t action);
  void finish(bool accepted, xcb_atom_t action);
  void end();

  void await(int64_t milliseconds); ///< what others owe; then it goes on without
  void stopWaiting();
  void waitedInVain();

  X11WindowSystem& system_;
  X11DropRelay relay_;
  std::optional<Drag> drag_;
  RunLoop::TimerId timer_ = 0; // 0 while nothing is waited for
};

} // namespace orbi::platform
