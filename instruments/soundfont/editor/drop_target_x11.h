#pragma once

#include "soundfont/editor/xcb_library.h"

#include <optional>
#include <string>

namespace soundfont {

/// Takes files that are dragged from other programs and dropped on a window: version 5 of the drag
/// and drop protocol that X11 desktops share.
class DropTarget {
public:
  /// Programs that drag look at top windows only: it is the host who hands on what is for us.
  DropTarget(const XcbLibrary& xcb, xcb_connection_t* connection, xcb_window_t window);

  enum class News { none, entered, left, dropped };
  /// Also wants to know of windows that were destroyed: a program that drags may end amidst.
  News handle(const xcb_generic_event_t& event);
  const std::string& path() const { return path_; } ///< of the file that was dropped

private:
  bool watchSource(uint32_t events) const;
  bool endDrag();
  std::string property(xcb_window_t window, xcb_atom_t property, xcb_atom_t* type = nullptr) const;
  bool offersFiles(const xcb_client_message_event_t& enter) const;
  void answer(xcb_atom_t type, uint32_t second, uint32_t fifth, uint32_t third = 0);
  News handleMessage(const xcb_client_message_event_t& message);
  News listCame(const xcb_selection_notify_event_t& notice);
  News partCame(const xcb_property_notify_event_t& change);
  News finish();

  static constexpr uint8_t version = 5;

  const XcbLibrary& xcb_;
  xcb_connection_t* const connection_;
  const xcb_window_t window_;
  struct {
    xcb_atom_t aware, enter, position, status, leave, drop, finished, selection, typeList,
        actionCopy, uriList, data, incr;
  } atoms_{};
  xcb_window_t source_ = 0; // who drags
  bool accepts_ = false;
  std::optional<xcb_timestamp_t> asked_; // when it was dropped, until the list comes
  bool comesInParts_ = false;            // the list, from now on
  std::string list_;                     // what has come of it
  std::string path_;
};

/// The first local file of a list of URIs; empty when there is none.
std::string firstFileOf(const std::string& uriList);

} // namespace soundfont
