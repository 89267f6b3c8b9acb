#ifdef ORBI_HAVE_X11

#include "platform/clock.h"
#include "shared/x_server.h"
#include "shared/x_user.h"
#include "ui/application.h"
#include "ui/values/string_value.h"
#include "ui/views/basic/button.h"
#include "ui/views/basic/label.h"
#include "ui/views/basic/text_edit.h"
#include "ui/views/desktop.h"
#include "ui/views/tool_tips.h"

#include <gtest/gtest.h>

using namespace orbi;

namespace {

constexpr xcb_keysym_t returnSign = 0xff0d, escapeSign = 0xff1b, tabSign = 0xff09;

class Program final : public UApplication {
public:
  Program() : UApplication("Test") {}
  void startup() override {}
};

/// Windows on a real server, with somebody before it.
class Desktop : public testing::Test {
protected:
  void SetUp() override
  {
    if (!server.isRunning())
      GTEST_SKIP() << "there is no Xvfb";
    user = std::make_unique<XUser>();
    user->moveTo(1200, 1000);
    std::string error;
    auto system = platform::openWindowSystem("Test", error);
    ASSERT_TRUE(system) << error;
    application.setWindowSystem(std::move(system));
    window->add(make<UGround>(window->bounds())).setAttach(attachAll);
    ASSERT_TRUE(window->UWindow::open());
    ASSERT_TRUE(until([&] { return window->isActive(); }));
    settle();
  }

  bool until(const std::function<bool()>& holds)
  {
    const auto end = platform::steadyNanoseconds() + 10'000'000'000;
    while (!holds() && platform::steadyNanoseconds() < end) {
      platform::RunLoop::instance()->runOnce(20);
      application.runPasses();
    }
    return holds();
  }
  void settle()
  {
    user->sync();
    application.desktop()->pointer();
    application.handlePending();
  }

  XServer server;
  std::unique_ptr<XUser> user;
  Program application;
  Ref<UDocWindow> window = make<UDocWindow>(Rect{100, 100, 400, 300}, "Window");
};

} // namespace

TEST_F(Desktop, form_is_filled_in_and_sent_with_pointer_and_keys)
{
  UStringValue first, second;
  UView& ground = *window->children()[0];
  ground.add(make<UTextEdit>(Rect{10, 10, 200, 34}, &first));
  ground.add(make<UTextEdit>(Rect{10, 40, 200, 64}, &second));
  int sent = 0;
  ground.add(make<UPushButton>(Rect{10, 70, 100, 94}, "Send")).setAction([&] { ++sent; });
  user->click(150, 120);
  user->type('a');
  user->type(tabSign);
  user->type('b');
  user->type(returnSign);
  user->type(tabSign);
  user->type(' ');
  ASSERT_TRUE(until([&] { return sent == 1; }));
  EXPECT_EQ(first.string(), "a");
  EXPECT_EQ(second.string(), "b");
  user->click(120, 180);
  EXPECT_TRUE(until([&] { return sent == 2; }));
}

TEST_F(Desktop, what_changes_is_on_the_screen_and_nothing_else_is_drawn)
{
  class Counting final : public UView {
  public:
    using UView::UView;
    void draw(Canvas& canvas, const Rect& damage) override
    {
      ++draws;
      canvas.fill(damage, color);
    }
    int draws = 0;
    platform::Color color{255, 0, 0, 255};
  };
  auto& one = window->add(make<Counting>(Rect{10, 10, 50, 50}));
  auto& other = window->add(make<Counting>(Rect{60, 10, 90, 50}));
  ASSERT_TRUE(until([&] { return other.draws > 0; }));
  settle();
  const int before = other.draws;
  one.color = {0, 255, 0, 255};
  one.invalidate();
  ASSERT_TRUE(until([&] { return user->pixelAt(149, 149) == 0x00FF00; }));
  EXPECT_EQ(user->pixelAt(165, 120), 0xFF0000u);
  EXPECT_EQ(other.draws, before);
}

TEST_F(Desktop, modal_dialog_keeps_presses_from_the_window_behind)
{
  int pressed = 0;
  window->add(make<UPushButton>(Rect{0, 0, 60, 40}, "Behind")).setAction([&] { ++pressed; });
  auto dialog = make<UModalDialog>(Rect{0, 0, 100, 60});
  UDialog* borrowed = dialog.get();
  auto& button = dialog->add(make<UPushButton>(Rect{0, 0, 100, 60}, "OK"));
  button.setName(UDialog::defaultName);
  button.setAction([=] { borrowed->end(7); });
  int step = 0;
  const auto timer = platform::RunLoop::instance()->addTimer(100, [&] {
    if (++step == 1)
      user->click(110, 110); // the dialog lies in the middle
    else if (step == 3)
      user->type(returnSign);
  });
  EXPECT_EQ(dialog->run(window.get()), 7);
  platform::RunLoop::instance()->removeTimer(timer);
  EXPECT_EQ(pressed, 0);
  user->click(110, 110);
  EXPECT_TRUE(until([&] { return pressed == 1; }));
}

TEST_F(Desktop, popup_closes_by_escape_and_by_a_press_elsewhere)
{
  for (const bool byKey : {true, false}) {
    auto popup = make<UPopupWindow>(Rect{150, 150, 250, 250});
    ASSERT_TRUE(popup->open(window.get(), UWindow::Stored::ignore));
    settle();
    if (byKey)
      user->type(escapeSign);
    else
      user->click(700, 700);
    EXPECT_TRUE(until([&] { return !popup->isOpen(); })) << byKey;
    EXPECT_TRUE(window->isActive());
  }
}

TEST_F(Desktop, tip_appears_beside_the_resting_pointer)
{
  UView& view = window->add(make<UView>(Rect{0, 0, 100, 100}));
  view.setTip("Words");
  user->moveTo(150, 150);
  EXPECT_TRUE(until([&] { return application.desktop()->toolTips().isShown(); }));
  settle();
  user->press(1);
  EXPECT_TRUE(until([&] { return !application.desktop()->toolTips().isShown(); }));
  user->release(1);
}

TEST_F(Desktop, lost_display_asks_the_program_to_quit_and_calls_do_nothing)
{
  server.kill();
  EXPECT_TRUE(until([&] { return application.isQuitting(); }));
  window->setRect({0, 0, 50, 50});
  window->setTitle("Gone");
  window->closeNow();
}

#endif
