#include "ui/fake_windows.h"
#include "ui/values/int_value.h"
#include "ui/views/basic/button.h"
#include "ui/views/control.h"
#include "ui/views/radio_group.h"

using namespace orbi;

namespace {

/// Two views that overlap in a window, the second in front.
class Views : public Windows {
protected:
  Ref<UDocWindow> window = opened();
  LoggingView& back = window->add(view("back", {10, 10, 60, 60}));
  LoggingView& front = window->add(view("front", {40, 40, 90, 90}));
  FakeWindow& native = fake(*window);
};

} // namespace

TEST_F(Views, press_goes_to_the_front_view_that_is_shown_and_enabled)
{
  native.click({50, 50});
  EXPECT_EQ(taken(), "front:down 10,10 front:up front:enter ");
  front.setEnabled(false);
  native.pause();
  native.click({50, 50});
  EXPECT_EQ(taken(), "front:leave back:down 40,40 back:up front:enter ");
  front.setEnabled(true);
  front.setVisible(false);
  native.pause();
  native.click({50, 50});
  EXPECT_EQ(taken(), "front:leave back:down 40,40 back:up back:enter ");
}

TEST_F(Views, press_with_a_key_of_the_desktop_held_is_not_for_the_program)
{
  for (const uint32_t held : {platform::superKey, platform::altKey})
    native.press({50, 50}, platform::leftButton, held | platform::shiftKey);
  EXPECT_EQ(taken(), "");
  native.press({50, 50}, platform::leftButton, platform::shiftKey | platform::controlKey);
  EXPECT_EQ(taken(), "front:down 10,10 ");
}

TEST_F(Views, taken_pointer_stays_with_its_view_until_the_release)
{
  native.press({15, 15});
  native.move({80, 80}, platform::leftButton);
  native.release({80, 80});
  native.move({80, 80});
  EXPECT_EQ(taken(), "back:down 5,5 back:move back:up front:enter front:move ");
  back.takes = false;
  native.pause();
  native.press({15, 15});
  native.move({80, 80}, platform::leftButton);
  EXPECT_EQ(taken(), "back:down 5,5 front:move ");
}

TEST_F(Views, view_that_leaves_or_goes_is_forgotten_everywhere)
{
  auto inner = view("inner", {0, 0, 20, 20});
  LoggingView& gone = back.add(std::move(inner));
  gone.setFocusable(true);
  native.move({15, 15});
  native.press({15, 15});
  ASSERT_TRUE(gone.hasMouse() && gone.hasFocus());
  ASSERT_EQ(application.activeControl(), &gone);
  window->addTimer(gone, 1);
  taken();
  window->remove(back); // and with it what lies in it
  EXPECT_EQ(taken(), "inner:blur inner:cancel inner:leave ");
  EXPECT_EQ(window->focusView(), nullptr);
  EXPECT_EQ(application.activeControl(), nullptr);
  native.release({15, 15});
  native.move({15, 15});
  system.key(platform::Key::space, " ");
  window->onTimer();
  EXPECT_EQ(taken(), "");
}

TEST_F(Views, timer_of_a_view_keeps_step_with_the_loop)
{
  platform::RunLoop loop;
  int ticks = 0;
  const auto counter = loop.addTimer(5, [&] { ++ticks; });
  window->addTimer(front, 5);
  taken();
  while (ticks < 100)
    loop.runOnce(1000);
  window->removeTimer(front);
  loop.removeTimer(counter);
  const std::string told = taken();
  const auto count = std::ranges::count(told, ':');
  EXPECT_GE(count, 90) << "each tick was on time for it";
}

TEST_F(Views, view_may_end_itself_or_its_window_in_its_own_press)
{
  front.then = [&] { window->remove(front); };
  native.press({80, 80});
  EXPECT_EQ(window->mouseView(), nullptr);
  back.then = [&] {
    window->closeNow();
    window = nullptr;
  };
  native.press({15, 15});
  EXPECT_TRUE(desktop().windows().empty());
  EXPECT_EQ(system.windows.size(), 1u) << "its event is under way";
  application.runPasses();
  EXPECT_TRUE(system.windows.empty());
}

TEST_F(Views, only_what_meets_the_damage_is_drawn_over_what_lies_below)
{
  LoggingView& lone = window->add(view("lone", {150, 10, 190, 50}));
  native.paint();
  EXPECT_EQ(taken(), "back:draw front:draw lone:draw ");
  back.invalidate({0, 0, 5, 5});
  EXPECT_EQ(native.paint(), std::vector<Rect>{Rect({10, 10, 15, 15})});
  EXPECT_EQ(taken(), "back:draw ");
  EXPECT_EQ(back.drawn, Rect({0, 0, 5, 5}));
  lone.moveTo({150, 60});
  native.paint();
  EXPECT_EQ(taken(), "lone:draw ") << "the place that it left is nobody's";
  lone.invalidate({-50, 0, 500, 500});
  EXPECT_EQ(native.invalid, std::vector<Rect>{Rect({150, 60, 190, 100})});
}

TEST_F(Views, children_follow_the_edges_that_they_are_attached_to)
{
  const struct {
    uint32_t attach;
    Rect after;
  } cases[] = {{0, {10, 10, 60, 60}},
               {attachLeft | attachTop, {10, 10, 60, 60}},
               {attachRight, {110, 10, 160, 60}},
               {attachBottom | attachLeft, {10, 60, 60, 110}},
               {attachAll, {10, 10, 160, 110}}};
  for (const auto& each : cases) {
    window->setRect({0, 0, 200, 100});
    back.setRect({10, 10, 60, 60});
    back.setAttach(each.attach);
    window->setRect({0, 0, 300, 150});
    EXPECT_EQ(back.rect(), each.after);
    window->setRect({0, 0, 20, 20});
    window->setRect({0, 0, 200, 100});
    EXPECT_EQ(back.rect(), Rect({10, 10, 60, 60})) << "also after it had no room at all";
  }
}

TEST_F(Views, second_press_at_once_and_nearby_is_a_double_click_and_a_third_is_not)
{
  const auto press = [&](Point at) {
    native.click(at);
    return taken().find("twice") != std::string::npos;
  };
  EXPECT_FALSE(press({20, 20}));
  EXPECT_TRUE(press({22, 21}));
  EXPECT_FALSE(press({22, 21}));
  EXPECT_FALSE(press({30, 21}));
  system.clock += 401;
  EXPECT_FALSE(press({30, 21}));
}

TEST_F(Views, right_press_asks_the_view_before_the_windows_menu)
{
  class MenuWindow final : public UDocWindow {
  public:
    using UDocWindow::UDocWindow;
    bool popupMenu(UView* view, Point where) override
    {
      asked = std::string(view->name().view()) + std::to_string(where.x);
      return true;
    }
    std::string asked;
  };
  auto menus = opened<MenuWindow>();
  LoggingView& own = menus->add(view("own", {10, 10, 60, 60}));
  own.takesMessages = true;
  fake(*menus).press({20, 20}, platform::rightButton);
  EXPECT_EQ(taken() + menus->asked, "own:RightMouseClick ");
  own.takesMessages = false;
  fake(*menus).press({20, 20}, platform::rightButton);
  EXPECT_EQ(menus->asked, "own20");
}

TEST_F(Views, form_keeps_its_scheme)
{
  auto form = make<UBaseView>(Rect{0, 0, 10, 10});
  auto scheme = make<LoggingView>("scheme", Rect{}, log);
  form->setScheme(scheme.get());
  const CmObject* before = scheme.get();
  scheme = nullptr;
  ASSERT_EQ(form->scheme(), before);
  EXPECT_TRUE(form->scheme()->isA(LoggingView::className));
  form->setScheme(nullptr);
  EXPECT_EQ(form->scheme(), nullptr);
}

TEST_F(Views, edit_lasts_from_press_to_release_and_ends_with_whatever_ends_it)
{
  UIntValue value{0, 0, 10};
  auto& control = window->add(make<UControl>(Rect{100, 0, 150, 50}, &value));
  const auto pressed = [&] {
    native.press({110, 10});
    EXPECT_TRUE(value.isEditing());
  };
  pressed();
  native.release({500, 500});
  EXPECT_FALSE(value.isEditing());
  pressed();
  native.listener.captureLost();
  EXPECT_FALSE(value.isEditing());
  pressed();
  control.setVisible(false);
  EXPECT_FALSE(value.isEditing());
  control.setVisible(true);
  pressed();
  window->closeNow();
  EXPECT_FALSE(value.isEditing());
  auto late = make<UIntValue>(1, 0, 10);
  control.setValue(late.get());
  late = nullptr; // the control lives on without it
  EXPECT_EQ(control.value(), nullptr);
}

TEST_F(Views, key_clicks_a_button_by_way_of_its_radio_group)
{
  UIntValue choice{0, 0, 2};
  auto& group = window->add(make<URadioGroup>(Rect{100, 0, 200, 90}, &choice));
  int acted = 0;
  for (int32_t i = 0; i < 3; ++i)
    group.add(make<UCheckBox>(Rect{0, i * 30, 100, i * 30 + 30})).setAction([&] { ++acted; });
  auto* third = static_cast<UCheckBox*>(group.children()[2].get());
  third->takeFocus();
  system.key(platform::Key::space, " ");
  EXPECT_EQ(choice.getValue(), 2);
  EXPECT_EQ(acted, 1);
  native.press({110, 40});
  native.release({110, 95}); // beside it
  EXPECT_EQ(choice.getValue(), 2);
  native.click({110, 40});
  EXPECT_EQ(choice.getValue(), 1);
  EXPECT_FALSE(third->isChecked());
}
