#pragma once

#include "platform/linux/x11_display.h"
#include "platform/window_system.h"

namespace orbi::platform {

class X11WindowSystem;

/// Lies in one of our windows and is given to a plug-in, which may do with it what it likes.
class X11ChildWindow final : public ChildWindow {
public:
  /// Null when the display makes none. The server knows it once this returns, so that a connection
  /// of the plug-in's own finds it.
  static std::unique_ptr<X11ChildWindow> make(X11WindowSystem& system, xcb_window_t parent,
                                              const Rect& bounds, std::string_view name);
  ~X11ChildWindow() override;
  X11ChildWindow(const X11ChildWindow&) = delete;
  X11ChildWindow& operator=(const X11ChildWindow&) = delete;

  xcb_window_t parent() const { return parent_; }
  void markDead(); ///< the native one is gone

  void* handle() const override;
  bool isAlive() const override { return system_ != nullptr; }
  void setBounds(const Rect& bounds) override;
  Rect bounds() const override;

private:
  X11ChildWindow(X11WindowSystem& system, xcb_window_t id, xcb_window_t parent);

  X11WindowSystem* system_; // null once dead
  const xcb_window_t id_;
  const xcb_window_t parent_;
};

} // namespace orbi::platform
