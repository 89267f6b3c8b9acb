#ifdef ORBI_HAVE_X11

#include "platform/window_system.h"

#include "platform/clock.h"
#include "platform/run_loop.h"
#include "shared/x_server.h"
#include "shared/x_user.h"

#include <gmock/gmock.h>

#include <functional>

using namespace orbi::platform;
using testing::ElementsAre;

namespace {

constexpr Color blue{10, 20, 200};
constexpr uint32_t bluePixel = 0x0a14c8;
constexpr xcb_keysym_t shiftSign = 0xffe1, returnSign = 0xff0d, deadAcute = 0xfe51;

using Told = std::vector<std::string>;

std::string text(Point point)
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
  void filesDropped(const std::vector<std::filesystem::path>& dropped, Point at) override
  {
    files = dropped;
    tell("drop " + text(at));
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
      loop.runOnce(1);
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

} // namespace

// ---- painting -----------------------------------------------------------------------------------

TEST_F(WindowSystemTest, paints_once_a_pass_what_is_invalid_and_nothing_else)
{
  for (const bool offscreen : {true, false}) {
    listener.paints = 0;
    WindowOptions options = at({50, 40, 250, 140});
    options.offscreen = offscreen;
    const auto window = open(options);
    settle();
    EXPECT_EQ(user->pixelAt(50, 40), bluePixel);
    EXPECT_EQ(user->pixelAt(249, 139), bluePixel);
    EXPECT_NE(user->pixelAt(250, 140), bluePixel);

    listener.paints = 0;
    for (int i = 0; i < 500; ++i)
      window->invalidate({i % 20 * 10, i / 20 * 4, i % 20 * 10 + 3, i / 20 * 4 + 2});
    EXPECT_EQ(listener.paints, 0);
    settle();
    EXPECT_EQ(listener.paints, 1);
    window->invalidate({0, 0, 5, 5});
    window->paintNow();
    EXPECT_EQ(listener.paints, 2);
    EXPECT_FALSE(loop.runOnce(0) && loop.runOnce(0) && loop.runOnce(0)); // nothing keeps it awake
    window->hide();
    window->invalidate({0, 0, 5, 5});
    settle();
    EXPECT_EQ(listener.paints, 2);
    listener.active = false;
  }
}

// ---- the pointer --------------------------------------------------------------------------------

TEST_F(WindowSystemTest, ten_thousand_moves_become_the_last_and_come_before_the_press)
{
  const auto window = open(at({100, 100, 300, 200}));
  listener.told.clear();
  for (int i = 0; i < 10000; ++i)
    xcb_test_fake_input(user->connection(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, user->root(),
                        int16_t(110 + i % 100), 120, 0);
  user->sync();
  ASSERT_TRUE(
      until([&] { return !listener.told.empty() && listener.told.back() == "move 109,20"; }));
  EXPECT_LT(listener.told.size(), 20u);

  listener.told.clear();
  user->click(150, 150);
  user->press(5);
  user->press(6);
  user->moveTo(180, 160);
  user->press(3);
  user->moveTo(10, 10); // a button that is down keeps the pointer with the window
  user->release(3);
  user->release(5);
  user->release(6);
  ASSERT_TRUE(until([&] { return !listener.told.empty() && listener.told.back() == "left"; }));
  std::erase(listener.told, "move 80,60"); // may come in a pass of its own
  EXPECT_THAT(listener.told, ElementsAre("move 50,50", "press 50,50 1/1", "release 50,50 1/0",
                                         "wheel 0,-120", "wheel -120,0", "press 80,60 4/4",
                                         "move -90,-90", "release -90,-90 4/0", "left"));
}

TEST_F(WindowSystemTest, a_popup_that_captures_hears_every_press_and_key)
{
  const auto window = open(at({100, 100, 300, 200}));
  Listener popupListener;
  WindowOptions options = at({350, 100, 400, 150}, WindowKind::popup);
  options.owner = window.get();
  const auto popup = system->makeWindow(options, popupListener);
  popup->show();
  ASSERT_TRUE(popup->capture(Window::Capture::pointerAndKeys));
  settle();
  EXPECT_TRUE(listener.active);
  EXPECT_EQ(user->pixelAt(350, 100), bluePixel);
  popupListener.told.clear();
  listener.told.clear();
  user->click(110, 110);
  user->type('a');
  ASSERT_TRUE(until([&] { return keys.size() == 2; }));
  EXPECT_THAT(popupListener.told,
              ElementsAre("move -240,10", "press -240,10 1/1", "release -240,10 1/0"));
  EXPECT_TRUE(listener.told.empty());

  ASSERT_TRUE(window->capture(Window::Capture::pointer));
  settle();
  EXPECT_EQ(popupListener.told.back(), "lost");
  window->releaseCapture();
}

// ---- the keys -----------------------------------------------------------------------------------

TEST_F(WindowSystemTest, keys_come_by_their_meaning_with_their_text_and_up_again)
{
  const auto window = open(at({100, 100, 300, 200}));
  user->keyDown(shiftSign);
  user->type('a');
  user->keyUp(shiftSign);
  user->type(returnSign);
  ASSERT_TRUE(until([&] { return keys.size() == 6; }));
  const auto number = [](Key key) { return std::to_string(static_cast<uint32_t>(key)); };
  EXPECT_THAT(keys,
              ElementsAre(number(Key::shift) + " 0 ", "65 1 A", "up 65", "up " + number(Key::shift),
                          number(Key::enter) + " 0 ", "up " + number(Key::enter)));

  // A foreign letter keeps the key of the Latin one that shares it, and accents wait for theirs.
  keys.clear();
  user->relabel(user->codeOf('b'), {deadAcute, deadAcute});
  user->relabel(user->codeOf('q'), {0x6ca, 0x6ea, 'q', 'Q'});
  settle();
  user->type(0x6ca);
  user->type(deadAcute);
  user->type('e');
  ASSERT_TRUE(until([&] { return keys.size() >= 5; }));
  EXPECT_EQ(keys[0], "81 0 \xd0\xb9");
  EXPECT_THAT(keys, testing::Contains("0 0 \xc3\xa9"));
}

TEST_F(WindowSystemTest, a_plug_ins_child_takes_no_keys_unless_it_has_the_focus)
{
  const auto window = open(at({100, 100, 300, 200}));
  const auto child = window->makeChild({10, 10, 190, 90}, "Plugin Editor");
  ASSERT_TRUE(child);
  const xcb_window_t field =
      user->makeWindow(idOf(child->handle()), 100, 50, XCB_EVENT_MASK_KEY_PRESS);
  user->moveTo(130, 130); // over it
  user->keyDown('x');
  ASSERT_TRUE(until([&] { return !keys.empty(); }));
  EXPECT_EQ(keys.back(), "88 0 x");
  EXPECT_EQ(system->focusedChildClass(), "");

  xcb_change_property(user->connection(), XCB_PROP_MODE_REPLACE, field, XCB_ATOM_WM_CLASS,
                      XCB_ATOM_STRING, 8, 10, "field\0Edit");
  xcb_set_input_focus(user->connection(), XCB_INPUT_FOCUS_PARENT, field, XCB_CURRENT_TIME);
  user->sync();
  ASSERT_TRUE(until([&] { return keys.back() == "up 88"; })); // whose release we won't hear
  user->keyUp('x');
  user->type('y');
  settle();
  EXPECT_EQ(keys.back(), "up 88");
  EXPECT_EQ(system->focusedChildClass(), "Edit");
  EXPECT_TRUE(window->isActive());
}

// ---- windows that go ----------------------------------------------------------------------------

TEST_F(WindowSystemTest, a_child_that_its_plug_in_resizes_and_destroys_harms_nothing)
{
  const auto window = open(at({100, 100, 300, 200}));
  auto child = window->makeChild({0, 0, 50, 50}, "Plugin Editor");
  const xcb_window_t id = idOf(child->handle());
  const uint32_t size[] = {70, 80};
  xcb_configure_window(user->connection(), id, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                       size);
  user->sync();
  EXPECT_EQ(child->bounds(), (Rect{0, 0, 70, 80}));
  xcb_destroy_window(user->connection(), id);
  user->sync();
  child->setBounds({0, 0, 60, 60});
  child->takeFocus();
  ASSERT_TRUE(until([&] { return !child->isAlive(); }));
  child = window->makeChild({0, 0, 100000, -5}, "");
  EXPECT_EQ(child->bounds(), (Rect{0, 0, 32767, 1}));

  xcb_destroy_window(user->connection(), idOf(window->handle()));
  user->sync();
  ASSERT_TRUE(until([&] { return !listener.told.empty() && listener.told.back() == "destroyed"; }));
  EXPECT_FALSE(child->isAlive());
  window->setTitle("gone");
  window->paintNow();
  EXPECT_FALSE(window->capture(Window::Capture::pointer));
  EXPECT_FALSE(window->makeChild({0, 0, 5, 5}, ""));
}

TEST_F(WindowSystemTest, a_listener_may_destroy_its_window_within_any_event)
{
  for (const std::string event : {"paint", "move", "press", "wheel", "close"}) {
    auto window = open(at({100, 100, 300, 200}));
    const xcb_window_t id = idOf(window->handle());
    listener.onEvent = [&](const char* told) {
      if (std::string(told).starts_with(event))
        window.reset();
    };
    window->invalidate({0, 0, 9, 9});
    user->click(150, 150);
    user->press(4);
    user->release(4);
    xcb_client_message_event_t close{};
    close.response_type = XCB_CLIENT_MESSAGE;
    close.format = 32;
    close.window = id;
    close.type = user->atom("WM_PROTOCOLS");
    close.data.data32[0] = user->atom("WM_DELETE_WINDOW");
    xcb_send_event(user->connection(), 0, id, 0, reinterpret_cast<const char*>(&close));
    user->sync();
    ASSERT_TRUE(until([&] { return !window; })) << event;
    listener.onEvent = [](const char*) {};
    listener.active = false;
    listener.paints = 0;
    user->moveTo(1200, 1000);
    settle();
  }
}

TEST_F(WindowSystemTest, a_display_that_goes_is_told_once_and_everything_then_is_quiet)
{
  const auto window = open(at({100, 100, 300, 200}));
  const auto child = window->makeChild({0, 0, 50, 50}, "");
  server.kill();
  ASSERT_TRUE(until([&] { return losses > 0; }));
  EXPECT_TRUE(system->isLost());
  EXPECT_FALSE(child->isAlive());
  EXPECT_FALSE(system->makeWindow(at({0, 0, 9, 9}), listener));
  window->show();
  window->setClient({0, 0, 5, 5});
  window->invalidate({0, 0, 5, 5});
  system->setClipboard("x");
  system->bell();
  EXPECT_EQ(system->clipboard(), "");
  EXPECT_EQ(system->focusedChildClass(), "");
  EXPECT_FALSE(system->screens().empty());
  EXPECT_FALSE(loop.runOnce(0));
  EXPECT_EQ(losses, 1);

  std::string error;
  EXPECT_FALSE(openWindowSystem("Second", error));
  EXPECT_NE(error, "");
}

// ---- beside a window manager --------------------------------------------------------------------

TEST_F(WindowSystemTest, a_managed_window_says_what_it_is_and_stands_where_it_was_asked_to)
{
  startManager();
  const auto window = open(at({200, 150, 500, 350}));
  const xcb_window_t id = idOf(window->handle());
  EXPECT_EQ(user->property(id, "WM_CLASS"), std::string("Test Player\0DocKind\0", 20));
  EXPECT_EQ(user->property(id, "_NET_WM_NAME"), "T\xc3\xa9st \xef\xbf\xbd");
  EXPECT_TRUE(user->has(id, "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_NORMAL"));
  ASSERT_TRUE(until([&] { return window->frameExtents().top > 0; }));
  EXPECT_EQ(window->client(), (Rect{200, 150, 500, 350}));
  EXPECT_EQ(user->pixelAt(200, 150), bluePixel);
  window->setClient({300, 250, 700, 550});
  ASSERT_TRUE(until([&] {
    return listener.size == Size{400, 300} && listener.moved == Point{300, 250};
  }));
  settle();
  EXPECT_EQ(user->pixelAt(300, 250), bluePixel);
  EXPECT_EQ(user->pixelAt(699, 549), bluePixel);

  Listener panelListener;
  WindowOptions options = at({600, 600, 700, 650}, WindowKind::panel);
  options.owner = window.get();
  options.sizable = options.placed = false;
  const auto panel = system->makeWindow(options, panelListener);
  panel->show();
  ASSERT_TRUE(until([&] { return panelListener.active && !listener.active; }));
  const xcb_window_t panelId = idOf(panel->handle());
  EXPECT_TRUE(user->has(panelId, "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_UTILITY"));
  EXPECT_TRUE(user->has(panelId, "_NET_WM_STATE", "_NET_WM_STATE_SKIP_TASKBAR"));
  EXPECT_EQ(user->property(panelId, "WM_TRANSIENT_FOR"),
            std::string(reinterpret_cast<const char*>(&id), sizeof id));
  window->activate();
  ASSERT_TRUE(until([&] { return listener.active && !panelListener.active; }));
}

TEST_F(WindowSystemTest, states_come_and_go_with_the_manager)
{
  startManager();
  const auto window = open(at({200, 150, 500, 350}));
  const auto becomes = [&](WindowState state) {
    return until([&] { return window->state() == state && listener.state == state; });
  };
  listener.onEvent = [&](const char*) {};
  window->setState(WindowState::maximized);
  ASSERT_TRUE(becomes(WindowState::maximized));
  ASSERT_TRUE(until([&] { return listener.size.width > 1000; }));
  window->setState(WindowState::minimized);
  ASSERT_TRUE(becomes(WindowState::minimized));
  window->setState(WindowState::maximized);
  ASSERT_TRUE(becomes(WindowState::maximized));
  window->setState(WindowState::normal);
  ASSERT_TRUE(becomes(WindowState::normal));
  ASSERT_TRUE(until([&] { return window->client() == Rect{200, 150, 500, 350}; }));
  window->hide();
  EXPECT_FALSE(window->isVisible());
  ASSERT_TRUE(until([&] { return !listener.active; }));
  window->setState(WindowState::maximized);
  listener.size = {};
  window->show();
  ASSERT_TRUE(until([&] { return listener.size.width > 1000; }));
  EXPECT_TRUE(user->has(idOf(window->handle()), "_NET_WM_STATE", "_NET_WM_STATE_MAXIMIZED_VERT"));
}

// ---- the desktop --------------------------------------------------------------------------------

TEST_F(WindowSystemTest, scale_and_screens_follow_the_desktop)
{
  EXPECT_EQ(system->scale(), 1.0);
  ASSERT_EQ(system->screens().size(), 1u);
  EXPECT_EQ(system->screens()[0].bounds, (Rect{0, 0, 1280, 1024}));
  const auto set = [&](const char* name, xcb_atom_t type, uint8_t format, uint32_t count,
                       const void* data) {
    xcb_change_property(user->connection(), XCB_PROP_MODE_REPLACE, user->root(), user->atom(name),
                        type, format, count, data);
    user->sync();
  };
  const std::string resources = "Xcursor.size: 24\nXft.dpi:\t142.6\n*multiClickTime: 250";
  set("RESOURCE_MANAGER", XCB_ATOM_STRING, 8, uint32_t(resources.size()), resources.data());
  const uint32_t area[] = {0, 30, 1280, 900};
  set("_NET_WORKAREA", XCB_ATOM_CARDINAL, 32, 4, area);
  ASSERT_TRUE(until([&] { return screenChanges > 0; }));
  settle();
  EXPECT_EQ(system->scale(), 1.5);
  EXPECT_EQ(system->doubleClickMilliseconds(), 250);
  EXPECT_EQ(system->screens()[0].workArea, (Rect{0, 30, 1280, 930}));
  const int before = screenChanges;
  set("_NET_WORKAREA", XCB_ATOM_CARDINAL, 32, 4, area);
  settle();
  EXPECT_EQ(screenChanges, before);
}

#endif
