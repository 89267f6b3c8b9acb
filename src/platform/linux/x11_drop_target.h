#pragma once

#include "platform/linux/x11_display.h"

#include <filesystem>

namespace orbi::platform {

class X11WindowSystem;

/// The files of this machine in a list of URIs, one a line.
std::vector<std::filesystem::path> localFiles(std::string_view uris);

/// Takes files that the user drags onto one of our windows.
class X11DropTarget {
public:
  explicit X11DropTarget(X11WindowSystem& system) : system_(system) {}

  bool handle(const xcb_client_message_event_t& event); ///< true for one of a drag's messages
  bool handle(const xcb_selection_notify_event_t& event);

private:
  void enter(const xcb_client_message_event_t& event);
  void position(const xcb_client_message_event_t& event);
  void drop(const xcb_client_message_event_t& event);
  void finish(xcb_window_t window, bool accepted);

  X11WindowSystem& system_;
  xcb_window_t source_ = 0; // 0 while nothing is dragged over us
  bool hasFiles_ = false;
  Point at_; // on the root
};

} // namespace orbi::platform
