#pragma once

#include "shared/x_user.h"

#include <xcb-imdkit/encoding.h>
#include <xcb-imdkit/imdkit.h>

#include <atomic>
#include <thread>

/// Makes one Chinese character of the key K and has no use for any other.
class XInputMethod {
public:
  XInputMethod() : connection_(xcb_connect(nullptr, nullptr))
  {
    static uint32_t style = XCB_IM_PreeditNothing | XCB_IM_StatusNothing;
    static char compoundText[] = "COMPOUND_TEXT";
    static char* encoding = compoundText;
    const xcb_im_styles_t styles{1, &style};
    const xcb_im_trigger_keys_t none{0, nullptr};
    const xcb_im_encodings_t encodings{1, &encoding};
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    const xcb_window_t window = xcb_generate_id(connection_);
    xcb_create_window(connection_, 0, window, screen->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, screen->root_visual, 0, nullptr);
    xcb_compound_text_init();
    im_ = xcb_im_create(connection_, 0, window, "orbi_test", "en_US,C", &styles, &none, &none,
                        &encodings, 0, heard, this);
    opened = xcb_im_open_im(im_);
    thread_ = std::thread([this] { serve(); });
  }
  ~XInputMethod()
  {
    ended_ = true;
    thread_.join();
    xcb_im_close_im(im_);
    xcb_im_destroy(im_);
    xcb_disconnect(connection_);
  }
  bool opened = false;
  xcb_keycode_t key = 0;
  std::atomic<int> focused{0};

private:
  static void heard(xcb_im_t* im, xcb_im_client_t*, xcb_im_input_context_t* context,
                    const xcb_im_packet_header_fr_t* header, void*, void* event, void* self)
  {
    auto& own = *static_cast<XInputMethod*>(self);
    if (header->major_opcode == XCB_XIM_SET_IC_FOCUS)
      ++own.focused;
    if (header->major_opcode != XCB_XIM_FORWARD_EVENT)
      return;
    auto* stroke = static_cast<xcb_key_press_event_t*>(event);
    if (stroke->detail != own.key) {
      xcb_im_forward_event(im, context, stroke);
      return;
    }
    size_t size = 0;
    char* text = xcb_utf8_to_compound_text("\xe6\xbc\xa2", 3, &size);
    xcb_im_commit_string(im, context, XCB_XIM_LOOKUP_CHARS, text, uint32_t(size), 0);
    std::free(text);
  }
  void serve()
  {
    while (!ended_) {
      if (const auto event = XUser::reply(xcb_poll_for_event(connection_)))
        xcb_im_filter_event(im_, event.get());
      else
        usleep(1000);
      xcb_flush(connection_);
    }
  }

  xcb_connection_t* connection_;
  xcb_im_t* im_ = nullptr;
  std::atomic<bool> ended_{false};
  std::thread thread_;
};
