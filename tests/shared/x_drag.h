#pragma once

#include "shared/x_user.h"

#include <optional>
#include <utility>

/// A program from which a list of URIs is dragged, by version 5 of the protocol, and which believes
/// answers only when they name the window that it drags over.
class XDrag : public XUser {
public:
  /// With a `part` the list is handed over in parts of so many bytes.
  explicit XDrag(std::string uris, size_t part = 0)
      : source(makeWindow(root(), 1, 1, 0)), uris_(std::move(uris)), part_(part)
  {
    own(source, "XdndSelection");
  }

  const xcb_window_t source;
  std::optional<bool> accepts; ///< after `over`, once it is answered
  std::optional<bool> taken;   ///< after `drop`, likewise
  int timesAsked = 0;          ///< for the list
  bool handsOver = true;
  uint32_t time = XCB_CURRENT_TIME; ///< of what it does

  /// A place on the root, which lies in this top window.
  void over(xcb_window_t window, int x, int y)
  {
    window_ = window;
    if (!std::exchange(entered_, true))
      send(window, "XdndEnter", {source, 5u << 24, atom("text/plain"), atom("text/uri-list")});
    accepts.reset();
    send(window, "XdndPosition",
         {source, 0, uint32_t(x) << 16 | uint32_t(y), time, atom("XdndActionCopy")});
  }
  void drop()
  {
    taken.reset();
    entered_ = false;
    send(window_, "XdndDrop", {source, 0, time});
  }

  /// Does what it was asked for meanwhile.
  void serve()
  {
    while (const auto event = reply(xcb_poll_for_event(connection())))
      switch (event->response_type & 0x7f) {
      case XCB_CLIENT_MESSAGE:
        hear(reinterpret_cast<const xcb_client_message_event_t&>(*event));
        break;
      case XCB_SELECTION_REQUEST:
        handOver(reinterpret_cast<const xcb_selection_request_event_t&>(*event));
        break;
      case XCB_PROPERTY_NOTIFY:
        goOn(reinterpret_cast<const xcb_property_notify_event_t&>(*event));
        break;
      }
  }
  /// For a target on another thread; false when no answer comes within a long time.
  bool await(const std::optional<bool>& answer)
  {
    for (int i = 0; i < 10000 && !answer; ++i) {
      serve();
      usleep(1000);
    }
    return answer.value_or(false);
  }

private:
  void hear(const xcb_client_message_event_t& message)
  {
    const uint32_t* data = message.data.data32;
    if (data[0] != window_)
      return;
    if (message.type == atom("XdndStatus"))
      accepts = data[1] & 1;
    else if (message.type == atom("XdndFinished"))
      taken = data[1] & 1;
  }
  void handOver(const xcb_selection_request_event_t& request)
  {
    ++timesAsked;
    if (!handsOver) {
      answer(request, XCB_ATOM_NONE);
      return;
    }
    if (part_ == 0) {
      set(request.requestor, request.property, "text/uri-list", uris_);
    } else {
      const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
      given_ = 0;
      xcb_change_window_attributes(connection(), request.requestor, XCB_CW_EVENT_MASK, &events);
      set(request.requestor, request.property, "INCR", "");
    }
    answer(request, request.property);
  }
  void goOn(const xcb_property_notify_event_t& change)
  {
    if (change.state != XCB_PROPERTY_DELETE || given_ > uris_.size())
      return;
    const std::string next = uris_.substr(given_, part_);
    set(change.window, change.atom, "text/uri-list", next);
    given_ += next.empty() ? 1 : next.size();
  }

  std::string uris_;
  size_t part_;
  size_t given_ = SIZE_MAX;
  xcb_window_t window_ = 0;
  bool entered_ = false;
};
