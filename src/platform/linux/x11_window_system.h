#pragma once

#include "platform/linux/cairo_graphics.h"
#include "platform/linux/event_source.h"
#include "platform/linux/x11_display.h"
#include "platform/linux/x11_keyboard.h"
#include "platform/linux/x11_paint_buffer.h"
#include "platform/window_system.h"

#include <deque>
#include <optional>
#include <unordered_map>

namespace orbi::platform {

class X11ChildWindow;
class X11Clipboard;
class X11Cursors;
class X11DropTarget;
class X11InputMethod;
class X11Window;

/// The desktop behind a connection to an X server.
class X11WindowSystem final : public WindowSystem, public EventSource {
public:
  static std::unique_ptr<X11WindowSystem> open(const std::string& program, std::string& error);
  ~X11WindowSystem() override;
  X11WindowSystem(const X11WindowSystem&) = delete;
  X11WindowSystem& operator=(const X11WindowSystem&) = delete;

  // WindowSystem
  Graphics& graphics() override { return *graphics_; }
  bool isLost() const override { return lost_; }
  void setListener(WindowSystemListener* listener) override { listener_ = listener; }
  std::unique_ptr<Window> makeWindow(const WindowOptions& options,
                                     WindowListener& listener) override;
  double scale() const override { return scale_; }
  std::vector<Screen> screens() const override { return screens_; }
  Point pointer() const override;
  int64_t doubleClickMilliseconds() const override { return doubleClickMilliseconds_; }
  std::string focusedChildClass() const override;
  void setClipboard(std::string text) override;
  std::string clipboard() override;
  void flush() override;

  // EventSource
  int descriptor() const override;
  bool hasPending() override;
  void dispatch() override;

  // For its windows
  X11Display& display() { return *display_; }
  CairoGraphics& cairo() { return *graphics_; }
  X11PaintBuffer& buffer() { return *buffer_; }
  X11Cursors& cursors() { return *cursors_; }
  const std::string& program() const { return program_; }
  xcb_window_t leader() const { return leader_; } ///< never seen; stands for all of us
  bool hasManager() const { return hasManager_; }
  void add(X11Window& window);
  void remove(X11Window& window);
  void add(X11ChildWindow& child, xcb_window_t id) { children_[id] = &child; }
  void remove(X11ChildWindow& child);
  X11Window* find(xcb_window_t id) const; ///< also by the one that holds its keys
  bool isOurs(xcb_window_t id) const;     ///< made by us, or the root
  X11Window* activeWindow() const;
  bool capture(X11Window& window, Window::Capture what);
  void releaseCapture(xcb_window_t window);
  void announceStartup(xcb_window_t window); ///< the first one is about to be shown
  void completeStartup();                    ///< it is there
  const Screen& screenAt(Point place) const;

  /// Those that were read but not handled, the oldest first.
  using Events = std::deque<X11Reply<xcb_generic_event_t>>;
  static constexpr size_t mostEvents = 100'000; ///< a flood of them can't hold up the loop
  /// Reads what is there, behind what waits already; for whoever waits for an answer.
  Events& readEvents();
  void handleKey(const xcb_key_press_event_t& event);            ///< once no input method wants it
  void handleText(xcb_window_t window, const std::string& text); ///< that it made of some

private:
  X11WindowSystem() = default;
  bool start(const std::string& program, std::string& error);
  void makeLeader();
  void watchDesktop();
  void lose();
  void markAllDead();

  // Events, in x11_events.cpp
  template <typename Event, void (X11WindowSystem::*handler)(const Event&)>
  void as(const xcb_generic_event_t& event)
  {
    (this->*handler)(reinterpret_cast<const Event&>(event));
  }
  void handle(const xcb_generic_event_t& event);
  void press(const xcb_button_press_event_t& event);
  void release(const xcb_button_release_event_t& event);
  void turnWheel(const xcb_button_press_event_t& event);
  void motion(const xcb_motion_notify_event_t& event);
  void enter(const xcb_enter_notify_event_t& event);
  void leave(const xcb_leave_notify_event_t& event);
  void key(const xcb_key_press_event_t& event);
  void focusIn(const xcb_focus_in_event_t& event);
  void focusOut(const xcb_focus_out_event_t& event);
  void expose(const xcb_expose_event_t& event);
  void configure(const xcb_configure_notify_event_t& event);
  void reparent(const xcb_reparent_notify_event_t& event);
  void map(const xcb_map_notify_event_t& event);
  void unmap(const xcb_unmap_notify_event_t& event);
  void destroy(const xcb_destroy_notify_event_t& event);
  void property(const xcb_property_notify_event_t& event);
  void message(const xcb_client_message_event_t& event);
  void protocol(const xcb_client_message_event_t& event);
  void selectionAsked(const xcb_selection_request_event_t& event);
  void selectionLost(const xcb_selection_clear_event_t& event);
  void selectionCame(const xcb_selection_notify_event_t& event);
  struct Handler;
  static const Handler handlers[];

  X11Window* target(xcb_window_t id);
  void tellMotion();
  void tellLostCapture();
  void tellPlaces();
  void tellScreens();
  void releaseKeys(X11Window& window);
  void paintWindows();
  std::vector<xcb_window_t> windowIds() const;

  // The desktop, in x11_screens.cpp
  void readScreens();
  void readResources();
  void desktopChanged(xcb_atom_t property);

  std::string program_;
  X11Library library_;
  std::unique_ptr<CairoGraphics> graphics_;
  std::unique_ptr<X11Display> display_;
  std::unique_ptr<X11Keyboard> keyboard_;
  std::unique_ptr<X11PaintBuffer> buffer_;
  std::unique_ptr<X11Cursors> cursors_;
  std::unique_ptr<X11Clipboard> clipboard_;
  std::unique_ptr<X11DropTarget> drop_;
  std::unique_ptr<X11InputMethod> inputMethod_; // null where the user has none
  WindowSystemListener* listener_ = nullptr;

  xcb_window_t leader_ = 0;
  bool hasManager_ = false;
  bool lost_ = false;
  std::string startupId_; // until the desktop was told that we are there

  std::unordered_map<xcb_window_t, X11Window*> windows_;
  std::unordered_map<xcb_window_t, X11ChildWindow*> children_;
  Events events_;
  std::optional<xcb_motion_notify_event_t> motion_; // the last, not yet told
  xcb_window_t capturing_ = 0;
  bool capturesKeys_ = false;
  xcb_window_t lostCapture_ = 0; // to be told

  double scale_ = 1.0;
  int64_t doubleClickMilliseconds_ = 400;
  std::vector<Screen> screens_;
  uint8_t firstRandrEvent_ = 0; // 0 without the extension
  bool screensMayHaveChanged_ = false;
};

} // namespace orbi::platform
