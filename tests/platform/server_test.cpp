#ifdef ORBI_HAVE_X11

#include "platform/window_system_fixture.h"

#include <sys/uio.h>
#include <xcb/randr.h>
#include <xcb/xcbext.h>

// Displays of other kinds than the usual one.

namespace {

class ServerWithout : public WindowSystemTest, public testing::WithParamInterface<const char*> {
protected:
  ServerWithout() : WindowSystemTest({"-extension", GetParam()}) {}
};

class Monitors : public WindowSystemTest {
protected:
  /// The display's one output goes with the primary monitor. The library's own call counts the
  /// bytes wrong.
  void addMonitor(const char* name, const Rect& place, bool primary)
  {
    const auto resources = XUser::reply(xcb_randr_get_screen_resources_current_reply(
        user->connection(),
        xcb_randr_get_screen_resources_current(user->connection(), user->root()), nullptr));
    struct {
      xcb_randr_set_monitor_request_t request{};
      xcb_randr_monitor_info_t info{};
      xcb_randr_output_t output = 0;
    } all;
    all.request.window = user->root();
    all.info.name = user->atom(name);
    all.info.primary = primary;
    all.info.nOutput = primary;
    all.info.x = int16_t(place.left);
    all.info.width = uint16_t(place.width());
    all.info.height = uint16_t(place.height());
    all.output = xcb_randr_get_screen_resources_current_outputs(resources.get())[0];
    iovec parts[3] = {{}, {}, {&all, sizeof all - (primary ? 0 : sizeof all.output)}};
    const xcb_protocol_request_t form{1, &xcb_randr_id, XCB_RANDR_SET_MONITOR, 1};
    xcb_send_request(user->connection(), 0, parts + 2, &form);
    user->sync();
  }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(WindowSystem, ServerWithout, testing::Values("MIT-SHM", "RENDER", "RANDR"),
                         [](const auto& each) { return std::string(each.param).substr(0, 3); });

TEST_P(ServerWithout, an_extension_shows_and_hears_the_same)
{
  for (const bool offscreen : {true, false}) {
    WindowOptions options = at({50, 40, 1250, 1000}); // more pixels than a request holds
    options.offscreen = offscreen;
    options.transparent = !offscreen;
    const auto window = open(options);
    window->setCursor(Cursor::hand);
    settle();
    EXPECT_EQ(user->pixelAt(50, 40), bluePixel);
    EXPECT_EQ(user->pixelAt(1249, 999), bluePixel);
    EXPECT_EQ(system->screens()[0].bounds, (Rect{0, 0, 1280, 1024}));
    user->click(60, 60);
    user->type('a');
    ASSERT_TRUE(until([&] { return !keys.empty() && keys.back() == "up 65"; }));
    EXPECT_EQ(listener.told.back(), "release 10,20 1/0");
    listener.paints = 0;
    listener.active = false;
    keys.clear();
  }
}

TEST_F(Monitors, are_told_apart_and_windows_stay_on_theirs)
{
  addMonitor("left", {0, 0, 640, 1024}, false);
  addMonitor("right", {640, 0, 1280, 1024}, true);
  ASSERT_TRUE(until([&] { return system->screens().size() == 2; }));
  EXPECT_GT(screenChanges, 0);
  EXPECT_EQ(system->screens()[0].bounds, (Rect{640, 0, 1280, 1024})) << "the primary one first";
  EXPECT_EQ(system->screens()[1].workArea, (Rect{0, 0, 640, 1024}));
  const auto window = open(at({630, 100, 900, 300})); // without a manager it is ours to place it
  window->setState(WindowState::maximized);
  settle();
  EXPECT_EQ(window->client(), (Rect{640, 0, 1280, 1024}));
}

TEST_F(WindowSystemTest, windows_are_seen_through_only_where_somebody_composes_them)
{
  WindowOptions options = at({50, 40, 250, 140});
  options.transparent = true;
  for (const uint8_t depth : {uint8_t(24), uint8_t(32)}) {
    const auto window = open(options);
    const auto place = XUser::reply(xcb_get_geometry_reply(
        user->connection(), xcb_get_geometry(user->connection(), idOf(window->handle())), nullptr));
    EXPECT_EQ(place->depth, depth);
    EXPECT_EQ(user->pixelAt(60, 60), bluePixel);
    user->own(user->makeWindow(user->root(), 1, 1, 0), "_NET_WM_CM_S0");
    listener.paints = 0;
    listener.active = false;
  }
}

TEST_F(WindowSystemTest, a_desktop_that_waits_for_the_start_hears_of_its_end_once)
{
  const Variable variable("DESKTOP_STARTUP_ID", "some \"id\"_TIME42");
  system.reset();
  std::string error;
  system = openWindowSystem("Test Player", error);
  system->setListener(this);
  EXPECT_EQ(getenv("DESKTOP_STARTUP_ID"), nullptr)
      << "which those that we start would take for theirs";
  const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_change_window_attributes(user->connection(), user->root(), XCB_CW_EVENT_MASK, &events);
  user->sync();
  const auto first = open(at({50, 40, 250, 140}));
  const auto second = system->makeWindow(at({50, 40, 250, 140}), listener);
  second->show();
  settle();
  EXPECT_EQ(user->property(idOf(first->handle()), "_NET_STARTUP_ID"), "some \"id\"_TIME42");
  EXPECT_EQ(user->property(idOf(first->handle()), "_NET_WM_USER_TIME"),
            std::string("\x2a\0\0\0", 4));
  std::string told;
  while (const auto event = XUser::reply(xcb_poll_for_event(user->connection())))
    if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE) {
      const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(*event);
      EXPECT_EQ(message.type == user->atom("_NET_STARTUP_INFO_BEGIN"), told.empty());
      told.append(reinterpret_cast<const char*>(message.data.data8), 20);
    }
  EXPECT_STREQ(told.c_str(), "remove: ID=\"some \\\"id\\\"_TIME42\"");
  EXPECT_LT(told.size(), 60u) << "told twice";
}

#endif
