#pragma once

#include "soundfont/editor/xcb_library.h"

#include <string>

namespace soundfont {

/// Takes files that are dragged from other programs and dropped on a window: version 5 of the drag
/// and drop protocol that X11 desktops share.
class DropTarget {
public:
  /// Also has drops on the top window above, which is where programs look, come here: the editor
  /// fills it. One that has given them to somebody else keeps that.
  DropTarget(const XcbLibrary& xcb, xcb_connection_t* connection, xcb_window_t window);
  void withdraw(); ///< the invitation, before the window goes, where it is still ours

  enum class News { none, entered, left, dropped };
  /// Also wants to know of windows that were destroyed: a program that drags may end amidst.
  News handle(const xcb_generic_event_t& event);
  const std::string& path() const { return path_; } ///< of the file that was dropped

private:
  void invite();
  bool watchSource(uint32_t events) const;
  bool endDrag();
  xcb_window_t topWindow(xcb_window_t window) const;
  bool hasProperty(xcb_window_t window, xcb_atom_t property) const;
  std::string property(xcb_window_t window, xcb_atom_t property) const;
  bool offersFiles(const xcb_client_message_event_t& enter) const;
  void answer(xcb_atom_t type, uint32_t second, uint32_t fifth, uint32_t third = 0);
  News handleMessage(const xcb_client_message_event_t& message);
  News takeFile(const xcb_selection_notify_event_t& notice);

  static constexpr uint8_t version = 5;

  const XcbLibrary& xcb_;
  xcb_connection_t* const connection_;
  const xcb_window_t window_;
  struct {
    xcb_atom_t aware, proxy, enter, position, status, leave, drop, finished, selection, typeList,
        actionCopy, uriList, data;
  } atoms_{};
  xcb_window_t invited_ = 0; // the top window that bears our invitation
  xcb_window_t source_ = 0;  // who drags
  xcb_window_t target_ = 0;  // where the source believes to drop
  bool accepts_ = false;
  bool knowsTop_ = false; // a drag has come since the invitation
  std::string path_;
};

/// The first local file of a list of URIs; empty when there is none.
std::string firstFileOf(const std::string& uriList);

} // namespace soundfont
