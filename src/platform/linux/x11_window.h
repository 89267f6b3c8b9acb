#pragma once

#include "platform/linux/drawing_library.h"
#include "platform/linux/x11_child_window.h"
#include "platform/linux/x11_display.h"
#include "platform/window_system.h"

namespace orbi::platform {

/// Places and sizes that the server can take.
Rect clampedForX11(const Rect& rect);

/// A window of ours on the root. Its keys come to a child of a pixel's size outside of its area:
/// would it hold them itself, they'd go to whatever window of a plug-in lies under the pointer.
class X11Window final : public Window {
public:
  static std::unique_ptr<X11Window> make(X11WindowSystem& system, const WindowOptions& options,
                                         WindowListener& listener); ///< null on failure
  ~X11Window() override;
  X11Window(const X11Window&) = delete;
  X11Window& operator=(const X11Window&) = delete;

  // Window
  void* handle() const override;
  void show() override;
  void hide() override;
  bool isVisible() const override { return shown_ && system_ != nullptr; }
  void activate() override;
  bool isActive() const override { return active_; }
  void flash() override;
  Rect client() const override { return client_; }
  Rect frameExtents() const override { return extents_; }
  void setClient(const Rect& client) override;
  void setLimits(Size smallest, Size largest) override;
  WindowState state() const override { return state_; }
  void setState(WindowState state) override;
  void setTitle(std::string_view title) override;
  void setIcon(Image& image) override;
  void setOpacity(double share) override;
  void setCursor(Cursor cursor) override;
  void invalidate(const Rect& rect) override;
  void paintNow() override;
  bool capture(Capture what) override;
  void releaseCapture() override;
  std::unique_ptr<ChildWindow> makeChild(const Rect& bounds, std::string_view name) override;
  void coverChildren(bool on) override;

  // What the system knows
  xcb_window_t id() const { return id_; }
  xcb_window_t keyHolder() const { return keyHolder_; }
  void takeKeys() { focusByHand(XCB_CURRENT_TIME); } ///< while it is active
  WindowListener& listener() { return listener_; }
  bool isPopup() const { return options_.kind == WindowKind::popup; }
  bool needsPaint() const;
  void paint(); ///< once, all that is invalid; the listener may destroy the window

  // What the server told. Each tells the listener at most once, so that the window may be gone
  // afterwards.
  void handleConfigure(const xcb_configure_notify_event_t& event);
  void handleReparent(xcb_window_t parent);
  void handleMapped();
  void handleUnmapped();
  void handleProperty(xcb_atom_t property);
  void handleFocus(bool active);
  void handleTakeFocus(xcb_timestamp_t time);
  void noteUserTime(); ///< the user has just done something here
  void tellDestroyed();
  void tellPlace(); ///< moves, sizes and states since the last time; these may be several
  void markDead();  ///< the native one, or the connection, is gone

private:
  X11Window(X11WindowSystem& system, const WindowOptions& options, WindowListener& listener);
  const X11Display& display() const;
  bool create();
  const X11Visual& visual() const { return visual_; }

  // Properties, in x11_window_properties.cpp
  void writeIdentity();
  void writeKind();
  void writeHints();
  void writeSizeHints();
  void writeMotifHints();
  void writeStates();
  std::vector<xcb_atom_t> statesOfKind() const;
  void changeState(bool on, xcb_atom_t first, xcb_atom_t second = XCB_ATOM_NONE);
  void readState();
  void readExtents();

  // Places and states, in x11_window_state.cpp
  void configure();
  void maximizeByHand(bool on);
  void focusByHand(xcb_timestamp_t time);
  void minimize();
  void restore();

  void paintOffscreen(const std::vector<Rect>& region, const Rect& bounds);
  void paintDirectly(const std::vector<Rect>& region);
  std::vector<Rect> takeDamage();

  X11WindowSystem* system_; // null once dead
  WindowListener& listener_;
  WindowOptions options_;
  const X11Visual& visual_;
  xcb_window_t id_ = 0;
  xcb_window_t keyHolder_ = 0;
  xcb_window_t cover_ = 0;  // in front of all children, unseen; 0 for none
  xcb_window_t parent_ = 0; // the root, or the manager's frame

  Rect client_;               // as asked for or as the server told, whichever was last
  Rect toldClient_;           // to the listener
  bool placeIsAsked_ = false; // of the server, which hasn't answered yet
  Rect normalClient_;         // to return to without a manager
  Rect extents_;
  Size smallest_, largest_;
  WindowState state_ = WindowState::normal;
  WindowState toldState_ = WindowState::normal;
  bool placeChanged_ = false;    // the server told of a place or a state
  bool placeIsOfParent_ = false; // and counted the place from the frame
  bool stateIsStale_ = false;
  bool shown_ = false;
  bool mapped_ = false;
  bool active_ = false;
  bool wantsActivation_ = false; // as soon as it is mapped
  bool wantsMaximizing_ = false;
  bool painting_ = false;
  cairo_region_t* damage_;
  const DrawingLibrary& drawing_;
};

} // namespace orbi::platform
