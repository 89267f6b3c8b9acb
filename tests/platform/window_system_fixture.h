#pragma once

#include "platform/window_system.h"

#include "platform/clock.h"
#include "platform/run_loop.h"
#include "shared/x_server.h"
#include "shared/x_user.h"

#include <gmock/gmock.h>

#include <functional>

using namespace orbi::platform;
using testing::ElementsAre;

inline constexpr Color blue{10, 20, 200};
inline constexpr uint32_t bluePixel = 0x0a14c8;

using Told = std::vector<std::string>;

inline std::string text(Point point)
{
  return std::to_string(point.x) + ',' + std::to_string(point.y);
}

/// Keeps what it is told, but for what comes and goes with any window manager.
class Listener final : public WindowListener {
public:
  Told told;
  int paints = 0;
  Size size;
  WindowState state = WindowState::normal;
  bool active = false;
  Point moved;
  std::function<void(const char*)> onEvent = [](const char*) {};
  std::vector<std::filesystem::path> files;
  DropTaker dropTaker = DropTaker::window;

  void windowDestroyed() override { tell("destroyed"); }
  void windowMoved(Point client) override { moved = client; }
  void windowResized(Size client) override { size = client; }
  void windowStateChanged(WindowState now) override { state = now; }
  void windowActivated() override { active = true; }
  void windowDeactivated() override { active = false; }
  void windowPaint(Canvas& canvas, const std::vector<Rect>& region) override
  {
    ++paints;
    onEvent("paint");
    for (const Rect& each : region)
      canvas.fill(each, blue);
  }
  void windowCloseRequested() override { tell("close"); }
  void pointerMoved(const PointerEvent& event) override { tell("move " + text(event.position)); }
  void pointerLeft() override { tell("left"); }
  void buttonPressed(const PointerEvent& event) override { tellButton("press ", event); }
  void buttonReleased(const PointerEvent& event) override { tellButton("release ", event); }
  void wheelTurned(const WheelEvent& event) override
  {
    tell("wheel " + text({event.horizontal, event.distance}));
  }
  void captureLost() override { tell("lost"); }
  DropTaker filesDragged(const std::vector<std::filesystem::path>& dragged) override
  {
    files = dragged;
    return dropTaker;
  }
  bool filesDropped(const std::vector<std::filesystem::path>& dropped, Point at) override
  {
    files = dropped;
    tell("drop " + text(at));
    return true;
  }

private:
  void tellButton(const std::string& what, const PointerEvent& event)
  {
    tell(what + text(event.position) + ' ' + std::to_string(event.button) + '/' +
         std::to_string(event.buttons));
  }
  void tell(const std::string& what)
  {
    told.push_back(what);
    onEvent(what.c_str());
  }
};

class WindowSystemTest : public testing::Test, public WindowSystemListener {
protected:
  explicit WindowSystemTest(std::vector<const char*> ofTheServer = {}) : server(ofTheServer) {}
  void SetUp() override
  {
    if (!server.isRunning())
      GTEST_SKIP() << "there is no Xvfb";
    user = std::make_unique<XUser>();
    user->moveTo(1200, 1000);
    std::string error;
    system = openWindowSystem("Test Player", error);
    ASSERT_TRUE(system) << error;
    system->setListener(this);
  }

  /// Runs the loop until this holds; false when it doesn't within a long time.
  bool until(const std::function<bool()>& holds)
  {
    const auto end = steadyNanoseconds() + 10'000'000'000;
    while (!holds()) {
      if (steadyNanoseconds() > end)
        return false;
      loop.runOnce(20);
    }
    return true;
  }
  /// Until everything that the server has for us is done.
  void settle()
  {
    for (int i = 0; i < 3; ++i) {
      user->sync();
      system->pointer();
      for (loop.runOnce(1); loop.runOnce(0);) {}
    }
  }
  std::unique_ptr<Window> open(const WindowOptions& options)
  {
    auto window = system->makeWindow(options, listener);
    window->show();
    EXPECT_TRUE(until([&] { return listener.paints > 0; }));
    EXPECT_TRUE(until([&] { return listener.active; }));
    return window;
  }
  void startManager()
  {
    if (!server.startManager())
      GTEST_SKIP() << "there is no openbox";
    ASSERT_TRUE(until([&] { return user->hasManager(); }));
    settle();
  }
  static WindowOptions at(const Rect& client, WindowKind kind = WindowKind::document)
  {
    WindowOptions options;
    options.kind = kind;
    options.className = "DocKind";
    options.title = "T\xc3\xa9st \xff";
    options.client = client;
    return options;
  }
  static xcb_window_t idOf(void* handle)
  {
    return static_cast<xcb_window_t>(reinterpret_cast<uintptr_t>(handle));
  }

  bool keyPressed(Window&, const KeyEvent& event) override
  {
    keys.push_back((event.repeats ? "again " : "") + std::to_string(uint32_t(event.key)) + ' ' +
                   std::to_string(event.modifiers) + ' ' + event.text);
    return true;
  }
  void keyReleased(Window&, const KeyEvent& event) override
  {
    keys.push_back("up " + std::to_string(uint32_t(event.key)));
  }
  void screensChanged() override { ++screenChanges; }
  void displayLost() override { ++losses; }

  RunLoop loop;
  XServer server;
  std::unique_ptr<XUser> user;
  std::unique_ptr<WindowSystem> system;
  Listener listener;
  Told keys;
  int screenChanges = 0;
  int losses = 0;
};
