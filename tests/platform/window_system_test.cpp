#ifdef ORBI_HAVE_X11

#include "platform/window_system_fixture.h"

namespace {

constexpr xcb_keysym_t shiftSign = 0xffe1, returnSign = 0xff0d, deadAcute = 0xfe51;

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
  ASSERT_TRUE(until([&] { return keys.size() >= 4; }));
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

TEST_F(WindowSystemTest, presses_on_a_covered_child_come_to_its_window)
{
  const auto window = open(at({100, 100, 300, 200}));
  const auto child = window->makeChild({10, 10, 190, 90}, "Plugin Editor");
  user->makeWindow(idOf(child->handle()), 100, 50, XCB_EVENT_MASK_BUTTON_PRESS);
  user->moveTo(130, 130);
  const auto clicks = [&](bool covered) {
    window->coverChildren(covered);
    system->flush();
    settle();
    listener.told.clear();
    user->click(130, 130);
    settle();
    return std::ranges::count_if(listener.told,
                                 [](const std::string& what) { return what.starts_with("press"); });
  };
  EXPECT_EQ(clicks(false), 0);
  EXPECT_EQ(clicks(true), 1);
  EXPECT_EQ(clicks(false), 0);
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
    user->send(id, "WM_PROTOCOLS", {user->atom("WM_DELETE_WINDOW")});
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
  EXPECT_EQ(system->clipboard(), "");
  EXPECT_EQ(system->focusedChildClass(), "");
  EXPECT_FALSE(system->screens().empty());
  EXPECT_FALSE(loop.runOnce(0));
  EXPECT_EQ(losses, 1);

  std::string error;
  EXPECT_FALSE(openWindowSystem("Second", error));
  EXPECT_NE(error, "");
}

#endif
