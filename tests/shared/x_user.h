#pragma once

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

/// Whoever sits before an X server: a hand on the pointer and the keys, and an eye on what it
/// shows, through a connection of its own. Each call returns once the server has done it.
class XUser {
public:
  struct Free {
    void operator()(void* memory) const { std::free(memory); }
  };
  template <typename T>
  static std::unique_ptr<T, Free> reply(T* answer)
  {
    return std::unique_ptr<T, Free>(answer);
  }

  XUser() : connection_(xcb_connect(nullptr, nullptr))
  {
    if (xcb_connection_has_error(connection_) == 0)
      screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
  }
  XUser(const XUser&) = delete;
  XUser& operator=(const XUser&) = delete;
  ~XUser() { xcb_disconnect(connection_); }

  xcb_connection_t* connection() const { return connection_; }
  xcb_window_t root() const { return screen_->root; }

  // Hands
  void moveTo(int x, int y)
  {
    xcb_test_fake_input(connection_, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root(),
                        static_cast<int16_t>(x), static_cast<int16_t>(y), 0);
    sync();
  }
  void press(uint8_t button) { fake(XCB_BUTTON_PRESS, button); }
  void release(uint8_t button) { fake(XCB_BUTTON_RELEASE, button); }
  void click(int x, int y, uint8_t button = 1)
  {
    moveTo(x, y);
    press(button);
    release(button);
  }
  /// By the sign on the key without modifiers, as X numbers signs: that of ASCII for these.
  void keyDown(xcb_keysym_t sign) { fake(XCB_KEY_PRESS, codeOf(sign)); }
  void keyUp(xcb_keysym_t sign) { fake(XCB_KEY_RELEASE, codeOf(sign)); }
  void type(xcb_keysym_t sign)
  {
    keyDown(sign);
    keyUp(sign);
  }
  /// Puts signs on a key: one a level.
  void relabel(xcb_keycode_t code, const std::vector<xcb_keysym_t>& signs)
  {
    xcb_change_keyboard_mapping(connection_, 1, code, static_cast<uint8_t>(signs.size()),
                                signs.data());
    sync();
  }
  xcb_keycode_t codeOf(xcb_keysym_t sign) const
  {
    const auto* setup = xcb_get_setup(connection_);
    const auto count = static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const auto map = reply(xcb_get_keyboard_mapping_reply(
        connection_, xcb_get_keyboard_mapping(connection_, setup->min_keycode, count), nullptr));
    for (int i = 0; map && i < count; ++i)
      if (xcb_get_keyboard_mapping_keysyms(map.get())[i * map->keysyms_per_keycode] == sign)
        return static_cast<xcb_keycode_t>(setup->min_keycode + i);
    return 0;
  }

  // Eyes
  /// Red, green and blue, from the top bits down.
  uint32_t pixelAt(int x, int y) const
  {
    const auto image = reply(xcb_get_image_reply(
        connection_,
        xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, root(), static_cast<int16_t>(x),
                      static_cast<int16_t>(y), 1, 1, ~0u),
        nullptr));
    return image ? *reinterpret_cast<uint32_t*>(xcb_get_image_data(image.get())) & 0xffffff : 0;
  }
  /// Bytes of a property, whatever their kind; empty without it. Taken, it is gone.
  std::string property(xcb_window_t window, const char* name) const
  {
    return bytesOf(window, name, 0);
  }
  std::string take(xcb_window_t window, const char* name) const { return bytesOf(window, name, 1); }
  /// Whether a property of atoms holds the one with this name.
  bool has(xcb_window_t window, const char* name, const char* value) const
  {
    const xcb_atom_t wanted = atom(value);
    const std::string atoms = property(window, name);
    for (size_t at = 0; at + sizeof wanted <= atoms.size(); at += sizeof wanted)
      if (atoms.compare(at, sizeof wanted, reinterpret_cast<const char*>(&wanted), sizeof wanted) ==
          0)
        return true;
    return false;
  }
  /// Whether a manager takes care of new windows; those that claim the root earlier may still miss
  /// some.
  bool hasManager()
  {
    const xcb_window_t probe = makeWindow(root(), 9, 9, 0);
    bool managed = false;
    for (int i = 0; i < 20 && !managed; ++i) {
      usleep(5000);
      managed = !property(probe, "WM_STATE").empty();
    }
    xcb_destroy_window(connection_, probe);
    sync();
    return managed;
  }
  xcb_window_t focus() const
  {
    const auto answer =
        reply(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    return answer ? answer->focus : 0;
  }

  // As another client
  xcb_atom_t atom(const std::string& name) const
  {
    const auto answer = reply(xcb_intern_atom_reply(
        connection_,
        xcb_intern_atom(connection_, 0, static_cast<uint16_t>(name.size()), name.c_str()),
        nullptr));
    return answer ? answer->atom : xcb_atom_t(XCB_ATOM_NONE);
  }
  xcb_window_t makeWindow(xcb_window_t parent, int width, int height, uint32_t events)
  {
    const xcb_window_t id = xcb_generate_id(connection_);
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, id, parent, 0, 0,
                      static_cast<uint16_t>(width), static_cast<uint16_t>(height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                      &events);
    xcb_map_window(connection_, id);
    sync();
    return id;
  }
  void send(xcb_window_t window, const char* type, const std::array<uint32_t, 5>& data)
  {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom(type);
    std::copy(data.begin(), data.end(), message.data.data32);
    xcb_send_event(connection_, 0, window, 0, reinterpret_cast<const char*>(&message));
    sync();
  }
  void set(xcb_window_t window, xcb_atom_t property, const char* type, const std::string& bytes)
  {
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, property, atom(type), 8,
                        static_cast<uint32_t>(bytes.size()), bytes.data());
    sync();
  }
  void own(xcb_window_t window, const char* selection)
  {
    xcb_set_selection_owner(connection_, window, atom(selection), XCB_CURRENT_TIME);
    sync();
  }
  /// Tells who asked for a selection that it has been put where it was asked for.
  void answer(const xcb_selection_request_event_t& request, xcb_atom_t property)
  {
    xcb_selection_notify_event_t event[2]{}; // the server reads 32 bytes
    event[0].response_type = XCB_SELECTION_NOTIFY;
    event[0].time = request.time;
    event[0].requestor = request.requestor;
    event[0].selection = request.selection;
    event[0].target = request.target;
    event[0].property = property;
    xcb_send_event(connection_, 0, request.requestor, 0, reinterpret_cast<const char*>(event));
    sync();
  }
  /// The next event of this type for our own windows; null when there is none within a long time.
  std::unique_ptr<xcb_generic_event_t, Free> await(uint8_t type)
  {
    for (int i = 0; i < 5000; ++i) {
      auto event = reply(xcb_poll_for_event(connection_));
      if (event && (event->response_type & 0x7f) == type)
        return event;
      if (!event)
        usleep(1000);
    }
    return nullptr;
  }
  void sync() const
  {
    reply(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
  }

private:
  std::string bytesOf(xcb_window_t window, const char* name, uint8_t takes) const
  {
    const auto answer = reply(xcb_get_property_reply(
        connection_,
        xcb_get_property(connection_, takes, window, atom(name), XCB_ATOM_ANY, 0, 65536), nullptr));
    if (!answer)
      return {};
    return {static_cast<const char*>(xcb_get_property_value(answer.get())),
            static_cast<size_t>(xcb_get_property_value_length(answer.get()))};
  }
  void fake(uint8_t what, uint8_t detail)
  {
    xcb_test_fake_input(connection_, what, detail, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    sync();
  }

  xcb_connection_t* connection_;
  xcb_screen_t* screen_ = nullptr;
};
