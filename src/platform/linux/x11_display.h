#pragma once

#include "platform/geometry.h"
#include "platform/linux/x11_atoms.h"
#include "platform/linux/x11_library.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace orbi::platform {

struct FreeReply {
  void operator()(void* reply) const { std::free(reply); }
};
template <typename T>
using X11Reply = std::unique_ptr<T, FreeReply>; ///< what the server sent, null after an error

/// How pixels of a window lie in memory.
struct X11Visual {
  xcb_visualtype_t* type = nullptr; ///< null when the screen has none such
  uint8_t depth = 0;
  xcb_colormap_t colormap = 0;
  bool isPlain = false; ///< 32 bits a pixel in the order of our pictures
};

/// The connection and what is asked of it again and again. Errors of single requests are of no
/// interest: windows of others come and go as they like. Once the connection is lost all of this
/// does nothing.
class X11Display {
public:
  /// Null, with a line that says why.
  static std::unique_ptr<X11Display> open(const X11Library& library, std::string& error);
  ~X11Display();
  X11Display(const X11Display&) = delete;
  X11Display& operator=(const X11Display&) = delete;

  const X11Library& x;
  xcb_connection_t* const connection;
  X11Atoms atoms;
  xcb_window_t root() const { return screen_->root; }
  xcb_screen_t* screen() const { return screen_; }
  int screenNumber() const { return screenNumber_; }
  bool isLost() const { return x.xcb_connection_has_error(connection) != 0; }
  bool isLocal() const; ///< whether memory can be shared with the server
  const X11Visual& plainVisual() const { return plain_; }
  const X11Visual& alphaVisual() const { return alpha_; }
  size_t largestRequest() const; ///< bytes

  xcb_timestamp_t time = XCB_CURRENT_TIME; ///< of the last event that had one

  template <typename T, typename Cookie>
  X11Reply<T> reply(T* (*take)(xcb_connection_t*, Cookie, xcb_generic_error_t**),
                    Cookie cookie) const
  {
    xcb_generic_error_t* error = nullptr;
    X11Reply<T> result{take(connection, cookie, &error)};
    std::free(error);
    return result;
  }

  // Properties of windows
  std::vector<uint32_t> numbers(xcb_window_t window, xcb_atom_t property, xcb_atom_t type) const;
  std::string bytes(xcb_window_t window, xcb_atom_t property) const;
  void setNumbers(xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
                  std::span<const uint32_t> values) const;
  void setNumber(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, uint32_t value) const
  {
    setNumbers(window, property, type, {&value, 1});
  }
  void setBytes(xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
                std::string_view text) const;
  /// A property that another program leaves with one of our windows for us to take away.
  struct Part {
    xcb_atom_t type = XCB_ATOM_NONE; ///< none when there is no property
    std::string bytes;
    bool isWhole = true; ///< false: there were more, which are gone as well
  };
  Part take(xcb_window_t window, xcb_atom_t property, size_t mostBytes) const;
  void removeProperty(xcb_window_t window, xcb_atom_t property) const
  {
    x.xcb_delete_property(connection, window, property);
  }

  /// Adds to what we hear of a window, whoever made it, until the same is unwatched; false when the
  /// window is gone already.
  bool watch(xcb_window_t window, uint32_t events);
  void unwatch(xcb_window_t window, uint32_t events);

  // Messages
  using Message = std::array<uint32_t, 5>;
  void send(xcb_window_t to, xcb_window_t about, xcb_atom_t type, const Message& data) const;
  void tellManager(xcb_window_t about, xcb_atom_t type, const Message& data) const;

  /// A text of any length to whoever listens on the root, in pieces of which the first is `begin`.
  void broadcast(xcb_window_t from, xcb_atom_t begin, xcb_atom_t more,
                 const std::string& text) const;

  // Places
  std::optional<Point> onRoot(xcb_window_t window, Point point = {}) const;
  bool hasManager() const;    ///< whether a window manager runs; asks the server
  bool hasCompositor() const; ///< whether windows may be seen through; asks the server

private:
  X11Display(const X11Library& library, xcb_connection_t* connected, xcb_screen_t* screen,
             int screenNumber);
  void internAtoms();
  void findVisuals();
  bool isPlain(const xcb_visualtype_t& visual, uint8_t depth) const;

  xcb_screen_t* const screen_;
  const int screenNumber_;
  X11Visual plain_;
  X11Visual alpha_;
  xcb_atom_t compositor_ = XCB_ATOM_NONE; // the selection of the one for this screen

  struct Watched {
    uint32_t own = 0; // what we hear of it anyhow, as its makers
    std::vector<uint32_t> wishes = {};
    uint32_t all() const;
  };
  std::unordered_map<xcb_window_t, Watched> watched_;
};

} // namespace orbi::platform
