#pragma once

#include "shared/variable.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

/// An X server without a screen of its own, as DISPLAY for the length of a test.
class XDisplay {
public:
  XDisplay()
  {
    int ends[2];
    if (pipe(ends) != 0)
      return;
    // -noreset: else it starts anew, and turns away who comes, when the last client goes
    const char* arguments[] = {"Xvfb",        "-displayfd", "3",   "-screen",  "0",
                               "1280x800x24", "-nolisten",  "tcp", "-noreset", nullptr};
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&files, ends[1], 3);
    if (posix_spawnp(&process_, "Xvfb", &files, nullptr, const_cast<char**>(arguments), environ) !=
        0)
      process_ = 0;
    posix_spawn_file_actions_destroy(&files);
    close(ends[1]);
    char number[16] = {};
    pollfd ready{ends[0], POLLIN, 0};
    if (process_ && poll(&ready, 1, 20000) > 0 && read(ends[0], number, sizeof number - 1) > 0)
      name_.emplace("DISPLAY", ":" + std::string(number, std::strcspn(number, "\n")));
    close(ends[0]);
  }
  XDisplay(const XDisplay&) = delete;
  XDisplay& operator=(const XDisplay&) = delete;
  ~XDisplay() { end(); }

  bool runs() const { return name_.has_value(); }
  void end()
  {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
    process_ = 0;
  }

private:
  pid_t process_ = 0;
  std::optional<Variable> name_;
};

/// A client of the display: the host's window, and a hand that clicks and drags files.
class XUser {
public:
  XUser() : connection_(xcb_connect(nullptr, nullptr))
  {
    screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
  }
  XUser(const XUser&) = delete;
  XUser& operator=(const XUser&) = delete;
  ~XUser() { xcb_disconnect(connection_); }

  xcb_connection_t* connection() { return connection_; }
  xcb_window_t root() const { return screen_->root; }

  xcb_window_t makeWindow(int width, int height)
  {
    const xcb_window_t window = xcb_generate_id(connection_);
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, screen_->root, 0, 0,
                      static_cast<uint16_t>(width), static_cast<uint16_t>(height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen_->root_visual, 0, nullptr);
    xcb_map_window(connection_, window);
    sync();
    return window;
  }
  xcb_window_t childOf(xcb_window_t window) ///< 0 for none
  {
    const auto reply =
        take(xcb_query_tree_reply(connection_, xcb_query_tree(connection_, window), nullptr));
    return reply && reply->children_len ? xcb_query_tree_children(reply.get())[0] : 0;
  }
  xcb_atom_t atom(const std::string& name)
  {
    return take(xcb_intern_atom_reply(connection_,
                                      xcb_intern_atom(connection_, 0,
                                                      static_cast<uint16_t>(name.size()),
                                                      name.c_str()),
                                      nullptr))
        ->atom;
  }
  uint32_t pixel(xcb_window_t window, int x, int y)
  {
    const auto image = take(xcb_get_image_reply(
        connection_,
        xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window, static_cast<int16_t>(x),
                      static_cast<int16_t>(y), 1, 1, ~0u),
        nullptr));
    uint32_t value = 0;
    if (image)
      std::memcpy(&value, xcb_get_image_data(image.get()), sizeof value);
    return value & 0xFFFFFF;
  }
  void sync()
  {
    take(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
  }

  /// A press (XCB_BUTTON_PRESS), release or move, some while after the last one.
  void pointer(xcb_window_t window, int kind, int x, int y, int button = 1, uint32_t later = 1000)
  {
    xcb_button_press_event_t event{};
    event.response_type = static_cast<uint8_t>(kind);
    event.detail = static_cast<uint8_t>(button);
    event.time = time_ += later;
    event.event = window;
    event.root = root();
    event.event_x = static_cast<int16_t>(x);
    event.event_y = static_cast<int16_t>(y);
    event.same_screen = 1;
    send(window, &event);
  }
  void click(xcb_window_t window, int x, int y, uint32_t later = 1000)
  {
    pointer(window, XCB_BUTTON_PRESS, x, y, 1, later);
    pointer(window, XCB_BUTTON_RELEASE, x, y, 1, 20);
  }

  /// Drags this list of URIs onto the window and answers whether it was taken.
  bool drop(xcb_window_t window, const std::string& uris)
  {
    const xcb_window_t source = makeWindow(1, 1);
    const xcb_atom_t type = atom("text/uri-list");
    xcb_set_selection_owner(connection_, source, atom("XdndSelection"), XCB_CURRENT_TIME);
    message(window, "XdndEnter", {source, 5u << 24, type, 0, 0});
    message(window, "XdndPosition", {source, 0, 0, 0, atom("XdndActionCopy")});
    message(window, "XdndDrop", {source, 0, XCB_CURRENT_TIME, 0, 0});
    const xcb_atom_t finished = atom("XdndFinished");
    bool taken = false;
    while (const auto event = take(xcb_wait_for_event(connection_))) {
      if ((event->response_type & 0x7F) == XCB_SELECTION_REQUEST)
        handOver(reinterpret_cast<const xcb_selection_request_event_t&>(*event), uris);
      const auto& answer = reinterpret_cast<const xcb_client_message_event_t&>(*event);
      if ((event->response_type & 0x7F) == XCB_CLIENT_MESSAGE && answer.type == finished) {
        taken = answer.data.data32[1] & 1;
        break;
      }
    }
    xcb_destroy_window(connection_, source);
    return taken;
  }

private:
  struct Free {
    void operator()(void* reply) const { std::free(reply); }
  };
  template <class Reply>
  static std::unique_ptr<Reply, Free> take(Reply* reply)
  {
    return std::unique_ptr<Reply, Free>(reply);
  }

  void send(xcb_window_t window, const void* event)
  {
    xcb_send_event(connection_, 0, window, 0, static_cast<const char*>(event));
    xcb_flush(connection_);
  }
  void message(xcb_window_t window, const std::string& type, const uint32_t (&data)[5])
  {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(type);
    std::memcpy(event.data.data32, data, sizeof data);
    send(window, &event);
  }
  void handOver(const xcb_selection_request_event_t& request, const std::string& uris)
  {
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                        request.target, 8, static_cast<uint32_t>(uris.size()), uris.data());
    union {
      xcb_selection_notify_event_t notice;
      char bytes[32];
    } event{};
    event.notice.response_type = XCB_SELECTION_NOTIFY;
    event.notice.requestor = request.requestor;
    event.notice.selection = request.selection;
    event.notice.target = request.target;
    event.notice.property = request.property;
    send(request.requestor, &event);
  }

  xcb_connection_t* connection_;
  const xcb_screen_t* screen_;
  uint32_t time_ = 1000;
};
