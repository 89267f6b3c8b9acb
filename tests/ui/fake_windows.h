#pragma once

#include "foundation/message.h"
#include "persist/default_pool.h"
#include "ui/application.h"
#include "ui/views/desktop.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

namespace orbi {

class FakeSystem;

/// A window that does what it is told and tells what a desktop would.
class FakeWindow final : public platform::Window {
public:
  FakeWindow(FakeSystem& system, const platform::WindowOptions& options,
             platform::WindowListener& listener)
      : system_(system), options(options), listener(listener), client_(options.client)
  {
  }
  ~FakeWindow() override;

  void* handle() const override { return const_cast<FakeWindow*>(this); }
  void show() override;
  void hide() override { visible_ = false; }
  bool isVisible() const override { return visible_; }
  void activate() override { ++activations; }
  bool isActive() const override { return active; }
  void flash() override { ++flashes; }
  platform::Rect client() const override { return client_; }
  platform::Rect frameExtents() const override { return {}; }
  void setClient(const platform::Rect& client) override { client_ = client; }
  void setLimits(platform::Size smallest, platform::Size largest) override
  {
    limits[0] = smallest;
    limits[1] = largest;
  }
  platform::WindowState state() const override { return state_; }
  void setState(platform::WindowState state) override
  {
    listener.windowStateChanged(state_ = state);
  }
  void setTitle(std::string_view title) override { options.title = title; }
  void setIcon(platform::Image&) override {}
  void setOpacity(double share) override { opacity = share; }
  void setCursor(platform::Cursor wanted) override { cursor = wanted; }
  void invalidate(const platform::Rect& rect) override { invalid.push_back(rect); }
  void paintNow() override {}
  bool capture(Capture) override;
  void releaseCapture() override {}
  std::unique_ptr<platform::ChildWindow> makeChild(const platform::Rect&, std::string_view) override
  {
    return nullptr;
  }
  void coverChildren(bool on) override { covered = on; }

  /// Draws what is invalid, as the loop's pass does; what was invalid.
  std::vector<platform::Rect> paint();
  void press(platform::Point at, uint32_t button = platform::leftButton, uint32_t modifiers = 0);
  void move(platform::Point at, uint32_t buttons = 0);
  void release(platform::Point at, uint32_t button = platform::leftButton);
  void click(platform::Point at)
  {
    press(at);
    release(at);
  }
  void pause(); ///< too long for a double click

private:
  platform::PointerEvent event(platform::Point at, uint32_t button, uint32_t buttons) const;
  FakeSystem& system_;

public:
  platform::WindowOptions options;
  platform::WindowListener& listener;
  std::vector<platform::Rect> invalid;
  platform::Size limits[2];
  platform::Cursor cursor = platform::Cursor::arrow;
  double opacity = 1.0;
  bool active = false; ///< as the desktop has it
  bool covered = false;
  int flashes = 0;
  int activations = 0;

private:
  platform::Rect client_;
  platform::WindowState state_ = platform::WindowState::normal;
  bool visible_ = false;
};

class FakeSystem final : public platform::WindowSystem {
public:
  platform::Graphics& graphics() override { return *graphics_; }
  bool isLost() const override { return false; }
  void setListener(platform::WindowSystemListener* wanted) override { listener = wanted; }
  std::unique_ptr<platform::Window> makeWindow(const platform::WindowOptions& options,
                                               platform::WindowListener& events) override
  {
    if (refuses)
      return nullptr;
    auto window = std::make_unique<FakeWindow>(*this, options, events);
    windows.push_back(window.get());
    return window;
  }
  double scale() const override { return scaled; }
  std::vector<platform::Screen> screens() const override { return monitors; }
  platform::Point pointer() const override { return pointerAt; }
  int64_t doubleClickMilliseconds() const override { return 400; }
  std::string focusedChildClass() const override { return childClass; }
  void setClipboard(std::string text) override { clip = std::move(text); }
  std::string clipboard() override { return clip; }
  void flush() override {}

  bool key(platform::Key key, std::string text = {}, uint32_t modifiers = 0)
  {
    return listener->keyPressed(*windows.back(), {key, std::move(text), modifiers});
  }
  bool type(std::string_view letters)
  {
    bool taken = true;
    for (const char c : letters)
      taken = key(platform::Key(std::toupper(c)), std::string(1, c)) && taken;
    return taken;
  }

  platform::WindowSystemListener* listener = nullptr;
  std::vector<FakeWindow*> windows; ///< that live, in order of making
  std::vector<platform::Screen> monitors{{{0, 0, 1600, 1200}, {0, 0, 1600, 1160}, true}};
  platform::Point pointerAt;
  int64_t clock = 1000;
  double scaled = 1.0;
  bool refuses = false;
  std::string childClass;
  std::string clip;

private:
  std::unique_ptr<platform::Graphics> graphics_ = platform::openGraphics();
};

inline FakeWindow::~FakeWindow()
{
  std::erase(system_.windows, this);
}

inline void FakeWindow::show()
{
  visible_ = true;
  invalid.push_back(Rect::at({}, client_.size()));
  if (options.kind != platform::WindowKind::popup)
    listener.windowActivated();
}

inline bool FakeWindow::capture(Capture)
{
  return true;
}

inline std::vector<platform::Rect> FakeWindow::paint()
{
  const auto region = std::exchange(invalid, {});
  const auto image = system_.graphics().makeImage(client_.size());
  const auto canvas = system_.graphics().makeCanvas(*image);
  if (!region.empty())
    listener.windowPaint(*canvas, region);
  return region;
}

inline platform::PointerEvent FakeWindow::event(platform::Point at, uint32_t button,
                                                uint32_t buttons) const
{
  platform::PointerEvent result;
  result.position = at;
  result.screen = {client_.left + at.x, client_.top + at.y};
  result.button = button;
  result.buttons = buttons;
  result.milliseconds = ++system_.clock;
  system_.pointerAt = result.screen;
  return result;
}

inline void FakeWindow::press(platform::Point at, uint32_t button, uint32_t modifiers)
{
  platform::PointerEvent pressed = event(at, button, button);
  pressed.modifiers = modifiers;
  listener.buttonPressed(pressed);
}

inline void FakeWindow::move(platform::Point at, uint32_t buttons)
{
  listener.pointerMoved(event(at, 0, buttons));
}

inline void FakeWindow::release(platform::Point at, uint32_t button)
{
  listener.buttonReleased(event(at, button, 0));
}

inline void FakeWindow::pause()
{
  system_.clock += 1000;
}

/// Logs what it hears, as "<name>:<event>".
class LoggingView : public UView {
public:
  LoggingView(std::string_view name, const Rect& rect, std::string& log) : UView(rect), log_(log)
  {
    setName(name);
  }
  bool mouseDown(const UMouseEvent& event) override
  {
    note("down " + std::to_string(event.where.x) + "," + std::to_string(event.where.y) +
         (event.clicks == 2 ? " twice" : ""));
    if (then)
      then();
    return takes;
  }
  void mouseMoved(const UMouseEvent&) override { note("move"); }
  void mouseUp(const UMouseEvent&) override { note("up"); }
  void mouseCancelled() override { note("cancel"); }
  void mouseEntered() override { note("enter"); }
  void mouseLeft() override { note("leave"); }
  void onFocus(bool has) override { note(has ? "focus" : "blur"); }
  bool keyDown(const UKeyCode& key) override
  {
    note("key " + key.text());
    return takesKeys;
  }
  int32_t handleMessage(FMessage& message) override
  {
    note(message.getId());
    return takesMessages ? 1 : 0;
  }
  void draw(Canvas&, const Rect& damage) override
  {
    note("draw");
    drawn = damage;
  }

  bool takes = true;
  bool takesKeys = false;
  bool takesMessages = false;
  Rect drawn;
  std::function<void()> then;

private:
  void note(const std::string& event) { log_ += std::string(name().view()) + ":" + event + " "; }
  std::string& log_;
};

class WindowApplication final : public UApplication {
public:
  WindowApplication() : UApplication("Test") {}
  void startup() override {}
};

/// An application with a desktop, and a log that is read by taking it.
class Windows : public testing::Test {
protected:
  std::string log; // outlives the views that write it
  FDefaultPool defaults;
  FakeSystem system;
  WindowApplication application;

  Windows() { application.borrowWindowSystem(system); }
  UDesktop& desktop() { return *application.desktop(); }
  std::string taken() { return std::exchange(log, {}); }
  Ref<LoggingView> view(std::string_view name, const Rect& rect)
  {
    return make<LoggingView>(name, rect, log);
  }
  template <class W = UDocWindow>
  Ref<W> opened(const Rect& place = {100, 100, 300, 200}, uint32_t style = windowStyle)
  {
    auto window = make<W>(place, "Window", style);
    EXPECT_TRUE(window->UWindow::open());
    return window;
  }
  FakeWindow& fake(const UWindow& window) { return *static_cast<FakeWindow*>(window.system()); }
};

} // namespace orbi
