#ifdef ORBI_HAVE_X11

#include "platform/window_system_fixture.h"
#include "shared/x_input_method.h"

#include <atomic>
#include <thread>

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
  // The manager fits its frame in its own time, and shows no more of the window until then.
  const auto isBlueAt = [&](int16_t x, int16_t y) {
    return until([&] { return user->pixelAt(x, y) == bluePixel; });
  };
  ASSERT_TRUE(until([&] { return window->client() == Rect{200, 150, 500, 350}; }));
  EXPECT_TRUE(isBlueAt(200, 150));
  window->setClient({300, 250, 700, 550});
  ASSERT_TRUE(until([&] {
    return listener.size == Size{400, 300} && listener.moved == Point{300, 250};
  }));
  EXPECT_TRUE(isBlueAt(300, 250));
  EXPECT_TRUE(isBlueAt(699, 549));

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

// ---- other programs -----------------------------------------------------------------------------

TEST_F(WindowSystemTest, the_clipboard_takes_and_gives_text_in_every_form)
{
  const xcb_window_t other = user->makeWindow(user->root(), 5, 5, XCB_EVENT_MASK_PROPERTY_CHANGE);
  system->setClipboard("gr\xc3\xbc\xc3\x9f \xe2\x82\xac");
  EXPECT_EQ(system->clipboard(), "gr\xc3\xbc\xc3\x9f \xe2\x82\xac");
  settle();
  for (const auto& [target, expected] :
       {std::pair{"UTF8_STRING", "gr\xc3\xbc\xc3\x9f \xe2\x82\xac"},
        {"STRING", "gr\xfc\xdf ?"},
        {"PIXMAP", ""}}) {
    xcb_convert_selection(user->connection(), other, user->atom("CLIPBOARD"), user->atom(target),
                          user->atom("HERE"), XCB_CURRENT_TIME);
    user->sync();
    settle();
    EXPECT_EQ(user->property(other, "HERE"), expected) << target;
    xcb_delete_property(user->connection(), other, user->atom("HERE"));
  }

  // More than the server takes at once leaves in parts; whoever takes none hinders nobody.
  const std::string endless = std::string(17 << 20, 'x') + "end";
  system->setClipboard(endless);
  const auto window = open(at({100, 100, 300, 200}));
  const auto child = window->makeChild({0, 0, 100, 100}, "Plugin Editor");
  const xcb_window_t idle = idOf(child->handle()); // as a plug-in may ask by
  const auto ask = [&](xcb_window_t by) {
    xcb_convert_selection(user->connection(), by, user->atom("CLIPBOARD"),
                          user->atom("UTF8_STRING"), user->atom("HERE"), XCB_CURRENT_TIME);
    settle();
  };
  ask(idle);
  EXPECT_EQ(user->property(idle, "HERE").size(), 4u);
  for (int i = 0; i < 2; ++i) { // who asks once more amidst gets it from the start
    ask(other);
    EXPECT_EQ(user->take(other, "HERE").size(), 4u);
    settle();
  }
  std::string whole;
  for (std::string part; !(part = user->take(other, "HERE")).empty(); settle())
    whole += part;
  EXPECT_TRUE(whole == endless) << whole.size();
  for (int i = 0; i < 8; ++i) // more than are served at once
    ask(user->makeWindow(user->root(), 5, 5, 0));
  EXPECT_EQ(user->property(idle, "HERE"), "") << "is told of the end";

  // One that hands out a long text in parts, and knows no other form than the old one.
  user->own(other, "CLIPBOARD");
  while (user->reply(xcb_poll_for_event(user->connection()))) {}
  std::atomic<bool> ended{false};
  const auto give = [&](const std::vector<std::string>& parts) {
    const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    for (int i = 0; i < 2; ++i) {
      const auto event = user->await(XCB_SELECTION_REQUEST);
      ASSERT_TRUE(event);
      const auto& request = reinterpret_cast<const xcb_selection_request_event_t&>(*event);
      if (request.target != XCB_ATOM_STRING) {
        user->answer(request, XCB_ATOM_NONE);
        continue;
      }
      xcb_change_window_attributes(user->connection(), request.requestor, XCB_CW_EVENT_MASK,
                                   &events);
      user->set(request.requestor, request.property, "INCR", "");
      user->answer(request, request.property);
      for (const std::string& part : parts) {
        for (;;) {
          const auto change = user->await(XCB_PROPERTY_NOTIFY);
          ASSERT_TRUE(change);
          if (reinterpret_cast<const xcb_property_notify_event_t&>(*change).state ==
              XCB_PROPERTY_DELETE)
            break;
        }
        user->set(request.requestor, request.property, "STRING", part);
      }
    }
    ended = true;
    loop.wake();
  };
  std::thread owner(give,
                    std::vector{std::string(100000, 'a'), std::string(7, '\xe9'), std::string()});
  const std::string read = system->clipboard();
  owner.join();
  EXPECT_EQ(read.size(), 100014u);
  EXPECT_TRUE(read.ends_with("a\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9"));

  std::vector<std::string> tooMany(19, std::string(1 << 20, 'x'));
  tooMany.emplace_back();
  ended = false;
  owner = std::thread(give, tooMany);
  EXPECT_EQ(system->clipboard(), "");
  EXPECT_TRUE(until([&] { return ended.load(); })) << "though nobody wants the rest";
  owner.join();
}

TEST_F(WindowSystemTest, an_input_method_makes_text_of_strokes_and_gives_back_the_others)
{
  auto method = std::make_unique<XInputMethod>();
  ASSERT_TRUE(method->opened);
  method->key = user->codeOf('k');
  const Variable wanted("XMODIFIERS", "@im=orbi_test");
  system.reset();
  std::string error;
  system = openWindowSystem("Test Player", error);
  ASSERT_TRUE(system) << error;
  system->setListener(this);
  const auto window = open(at({100, 100, 300, 200}));
  ASSERT_TRUE(until([&] { return method->focused > 0; }));
  settle();
  user->type('k');
  user->type('x');
  ASSERT_TRUE(until([&] { return keys.size() >= 3; })) << testing::PrintToString(keys);
  EXPECT_THAT(keys, ElementsAre("0 0 \xe6\xbc\xa2", "88 0 x", "up 88"));
  method.reset(); // without it, keys come as they are
  keys.clear();
  settle();
  user->type('k');
  ASSERT_TRUE(until([&] { return keys.size() >= 2; }));
  EXPECT_EQ(keys[0], "75 0 k");
}

#endif
