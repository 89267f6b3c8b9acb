#include "foundation/attributes.h"
#include "ui/fake_windows.h"
#include "ui/menus/menu.h"
#include "ui/menus/menu_window.h"
#include "ui/values/int_value.h"
#include "ui/views/dialogs.h"
#include "ui/views/tool_tips.h"
#include "ui/views/window_controller.h"

using namespace orbi;
using platform::Key;

namespace {

constexpr uint32_t rememberingStyle = windowStyle | styleRememberPlace | styleRememberSize;

class WindowTest : public Windows {
protected:
  Ref<UDocWindow> window = opened();
};

/// Records the window messages; may refuse to close.
class Controller final : public UWindowController {
public:
  int32_t handleMessage(FMessage& message) override
  {
    log += std::string(message.getId()) + " ";
    return UWindowController::handleMessage(message);
  }
  bool canClose() override { return mayClose; }
  void windowClosed() override { log += "gone "; }
  std::string log;
  bool mayClose = true;
};

} // namespace

// Life

TEST_F(Windows, window_that_is_refused_stays_unattached)
{
  system.refuses = true;
  auto window = make<UDocWindow>(Rect{0, 0, 10, 10});
  EXPECT_FALSE(window->UWindow::open());
  EXPECT_FALSE(window->isOpen());
  EXPECT_TRUE(desktop().windows().empty());
  Controller controller;
  EXPECT_EQ(controller.openForm(make<UBaseView>(Rect{0, 0, 10, 10}), {}), nullptr);
  application.setWindowSystem(nullptr);
  EXPECT_FALSE(window->UWindow::open()) << "without a display";
}

TEST_F(Windows, close_box_asks_the_controller_and_closes_on_the_next_pass)
{
  Controller controller;
  auto form = make<UBaseView>(Rect{0, 0, 80, 40}, "Form", windowStyle);
  UWindow* window = controller.openForm(form, {50, 50});
  ASSERT_TRUE(window);
  controller.mayClose = false;
  fake(*window).listener.windowCloseRequested();
  application.runPasses();
  EXPECT_TRUE(window->isOpen());
  controller.mayClose = true;
  controller.log.clear();
  fake(*window).listener.windowCloseRequested();
  EXPECT_TRUE(window->isOpen()) << "whoever asked is still on the stack";
  application.runPasses();
  EXPECT_EQ(controller.log, "MsgCloseRequest MsgWindowOnActivate gone ");
  EXPECT_EQ(form->controller(), nullptr);
  EXPECT_TRUE(desktop().windows().empty());
}

TEST_F(Windows, controller_answers_the_names_that_it_was_given)
{
  UWindowController controller;
  auto value = make<UIntValue>(1, 0, 9);
  auto later = make<UIntValue>(2, 0, 9);
  auto object = make<CmObject>();
  controller.addObject("value", value.get());
  controller.addObject("object", object.get());
  CmString name;
  EXPECT_EQ(controller.getValue("value"), value.get());
  EXPECT_TRUE(controller.getValueName(value.get(), name) && name == "value");
  EXPECT_EQ(controller.getObject("object"), object.get());
  EXPECT_FALSE(controller.hasValue("object")) << "which isn't one";
  EXPECT_FALSE(controller.hasValue("Value") || controller.hasValue(nullptr));
  controller.addObject("value", later.get());
  EXPECT_EQ(controller.getValue("value"), later.get());
  EXPECT_FALSE(controller.getValueName(value.get(), name));
}

TEST_F(WindowTest, frame_that_closes_or_is_destroyed_ends_the_program)
{
  desktop().setFrame(window.get());
  fake(*window).listener.windowDestroyed();
  EXPECT_FALSE(window->isOpen());
  EXPECT_TRUE(application.isQuitting());
}

TEST_F(WindowTest, owned_windows_close_first)
{
  auto child = make<UPanel>(Rect{0, 0, 10, 10});
  child->open(window.get(), UWindow::Stored::ignore);
  window->closeNow();
  EXPECT_FALSE(child->isOpen());
}

// Place and state

TEST_F(WindowTest, state_that_the_style_lacks_is_taken_back_at_once)
{
  window->setStyle(styleTitle | styleMaximize);
  FakeWindow& native = fake(*window);
  native.setState(platform::WindowState::minimized);
  EXPECT_EQ(native.state(), platform::WindowState::normal);
  EXPECT_FALSE(window->isMinimized());
  native.setState(platform::WindowState::maximized);
  EXPECT_EQ(window->state() & ~uint32_t(UWindow::stateOffscreen), UWindow::stateMaximized);
  window->minimize();
  EXPECT_TRUE(window->isMaximized());
}

TEST_F(WindowTest, is_minimized_no_more_whichever_way_it_comes_back)
{
  using platform::WindowState;
  window->setName("Document");
  window->setStyle(rememberingStyle);
  FakeWindow& native = fake(*window);
  for (const WindowState before : {WindowState::normal, WindowState::maximized})
    for (const WindowState after : {WindowState::maximized, WindowState::normal}) {
      native.setState(before);
      native.setState(WindowState::minimized);
      EXPECT_EQ(window->property("window.minimize")->getInt(), 1);
      EXPECT_EQ(desktop().windowAt({110, 110}), nullptr);
      native.setState(after);
      EXPECT_EQ(window->isMaximized(), after == WindowState::maximized);
      EXPECT_FALSE(window->isMinimized());
      EXPECT_EQ(window->property("window.minimize")->getInt(), 0);
      EXPECT_EQ(desktop().windowAt({110, 110}), window.get());
    }
  native.setState(WindowState::minimized);
  native.setState(WindowState::maximized);
  window->closeNow();
  const auto* stored = castTo<FAttributes>(defaults.getGroup("Window")->getObject("Document"));
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->getInt("Maximized"), 1);
  EXPECT_EQ(stored->getInt("Minimized"), 0);
}

TEST_F(Windows, size_grip_and_status_area_follow_each_resize)
{
  auto window = opened<UDocWindow>({0, 0, 200, 100}, windowStyle | styleSizeGrip);
  window->setStatusView(make<UView>());
  const UView& grip = *window->children()[0];
  fake(*window).listener.windowResized({300, 180});
  EXPECT_EQ(grip.rect(), Rect({286, 166, 300, 180}));
  EXPECT_EQ(window->statusView()->rect().right, 286);
  EXPECT_EQ(window->statusView()->rect().bottom, 180);
  window->setLimits({120, 90}, {400, 400});
  FakeWindow& native = fake(*window);
  native.press({290, 170});
  native.move({900, 0}, platform::leftButton);
  EXPECT_EQ(native.client(), Rect({0, 0, 400, 90}));
}

TEST_F(WindowTest, menu_bar_adds_its_height_and_takes_it_away_again)
{
  UView& content = window->add(make<UView>(Rect{0, 0, 200, 100}));
  content.setAttach(attachAll);
  auto bar = make<UView>(Rect{0, 0, 10, 22});
  window->setMenuBar(bar);
  EXPECT_EQ(fake(*window).client(), Rect({100, 100, 300, 222}));
  EXPECT_EQ(content.rect(), Rect({0, 22, 200, 122}));
  EXPECT_EQ(bar->rect(), Rect({0, 0, 200, 22}));
  window->setMenuBar(nullptr);
  EXPECT_EQ(content.rect(), Rect({0, 0, 200, 100}));
  EXPECT_EQ(window->place(), Rect({100, 100, 300, 200}));
}

TEST_F(Windows, events_and_damage_cross_the_scale_both_ways)
{
  system.scaled = 1.5;
  application.borrowWindowSystem(system);
  auto window = opened<UDocWindow>({100, 100, 301, 201});
  LoggingView& own = window->add(view("own", {11, 11, 20, 20}));
  FakeWindow& native = fake(*window);
  EXPECT_EQ(native.client(), Rect({150, 150, 452, 302}));
  native.listener.windowResized(native.client().size());
  EXPECT_EQ(window->size(), Size({201, 101})) << "the size comes back as it was";
  native.paint();
  taken();
  own.invalidate();
  EXPECT_EQ(native.paint(), std::vector<Rect>{Rect({16, 16, 30, 30})});
  EXPECT_EQ(own.drawn, own.bounds());
  taken();
  native.press({17, 29});
  EXPECT_EQ(taken(), "own:down 0,8 ");
  system.scaled = 2.0;
  system.listener->screensChanged();
  EXPECT_EQ(native.client(), Rect({200, 200, 602, 402}));
}

TEST_F(Windows, remembered_state_comes_back_and_panels_keep_to_the_frame)
{
  auto frame = opened<UDocWindow>({200, 200, 500, 400}, rememberingStyle);
  desktop().setFrame(frame.get());
  const auto panel = [&] {
    auto made = make<UPanel>(Rect{0, 0, 50, 40});
    made->setName("Panel");
    EXPECT_TRUE(made->UWindow::open());
    return made;
  };
  auto first = panel();
  first->setRect({260, 210, 330, 300});
  first->setOpacity(0.5);
  first->closeNow();
  frame->setRect({400, 300, 700, 500});
  auto second = panel();
  EXPECT_EQ(second->place(), Rect({460, 310, 530, 400}));
  EXPECT_EQ(fake(*second).opacity, 0.5);
  frame->setRect({5000, 5000, 5100, 5100});
  second->closeNow();
  frame->setRect({1590, 1150, 1600, 1160});
  EXPECT_EQ(panel()->place(), Rect({0, 0, 70, 90})) << "never outside of the screens";
}

TEST_F(Windows, stay_on_the_monitor_of_what_they_belong_to)
{
  system.monitors.push_back({{1600, 0, 2400, 600}, {1600, 0, 2400, 560}, false});
  system.monitors.push_back({{0, 1200, 1600, 1800}, {0, 1200, 1600, 1800}, false});
  const auto remembered = [&] { // most of it lies on the second
    auto made = make<UDocWindow>(Rect{1590, 20, 1890, 220}, "Title", rememberingStyle);
    made->setName("Remembered");
    EXPECT_TRUE(made->UWindow::open());
    return made;
  };
  auto owner = remembered();
  auto dialog = make<UModalDialog>(Rect{0, 0, 800, 100});
  dialog->centerIn(owner.get());
  EXPECT_EQ(dialog->place(), Rect({1600, 70, 2400, 170}));
  auto menu = make<UMenu>();
  menu->add("First", 1);
  const UMenuItem* last = &menu->add("Last", 2);
  const UMenuWindow* popup = UMenuWindow::showAt(menu, owner.get(), {20, 1205}, last);
  EXPECT_EQ(popup->place().origin(), (Point{20, 1200}));
  system.key(Key::escape);
  owner->closeNow();
  EXPECT_EQ(remembered()->place(), Rect({1600, 20, 1900, 220}));
}

TEST_F(Windows, maximized_window_comes_back_so_and_knows_its_normal_place)
{
  const auto reopened = [&](uint32_t style) {
    auto made = make<UDocWindow>(Rect{10, 10, 110, 90}, "", style);
    made->setName("Document");
    EXPECT_TRUE(made->UWindow::open());
    return made;
  };
  auto window = reopened(rememberingStyle);
  window->setRect({20, 30, 220, 130});
  window->maximize();
  fake(*window).listener.windowMoved({0, 0});
  fake(*window).listener.windowResized({1600, 1160});
  window->closeNow();
  window = reopened(rememberingStyle);
  EXPECT_TRUE(window->isMaximized());
  window->closeNow();
  window = reopened(rememberingStyle);
  EXPECT_EQ(window->place(), Rect({20, 30, 220, 130}));
  window->closeNow();
  EXPECT_EQ(reopened(rememberingStyle & ~uint32_t(styleMaximize))->state(), 0u);
}

TEST_F(WindowTest, properties_act_on_the_window_and_show_it)
{
  window->property("window.title")->setText("Other");
  window->property("window.opacity")->setFloat(0.25f);
  window->property("window.maximize")->setInt(1);
  EXPECT_EQ(fake(*window).options.title, "Other");
  EXPECT_EQ(fake(*window).opacity, 0.25);
  EXPECT_TRUE(window->isMaximized());
  window->restore();
  EXPECT_EQ(window->property("window.maximize")->getInt(), 0);
  window->setStyle(styleTitle);
  window->property("window.minimize")->setInt(1);
  EXPECT_EQ(window->property("window.minimize")->getInt(), 0) << "refused";
  EXPECT_EQ(window->property("window"), nullptr);
  EXPECT_EQ(window->property("window.titles"), nullptr);
  window->property("window.close")->setInt(1);
  application.runPasses();
  EXPECT_FALSE(window->isOpen());
}

TEST_F(Windows, press_that_no_view_takes_moves_a_window_of_that_style)
{
  auto window = opened<UDocWindow>({100, 100, 300, 200}, skinStyle);
  window->add(view("own", {0, 0, 50, 50}));
  FakeWindow& native = fake(*window);
  EXPECT_FALSE(native.options.framed);
  native.press({60, 60});
  native.move({70, 80}, platform::leftButton);
  native.move({62, 61}, platform::leftButton); // it lies under the pointer again
  native.release({62, 61});
  native.move({5, 5});
  EXPECT_EQ(window->place(), Rect({112, 121, 312, 221}));
}

// Modal dialogs and popups

TEST_F(WindowTest, modal_dialog_runs_until_it_ends_and_blocks_the_others)
{
  window->add(view("own", {0, 0, 50, 50}));
  auto dialog = make<UAboutDialog>("Name", "1.0", "Words");
  FakeWindow& behind = fake(*window);
  platform::RunLoop::TimerId timer = 0;
  int turns = 0;
  timer = platform::RunLoop::instance()->addTimer(1, [&] {
    if (++turns == 1) {
      const int activations = fake(*dialog).activations;
      behind.click({10, 10});
      behind.listener.windowActivated();
      behind.listener.windowCloseRequested();
      EXPECT_EQ(fake(*dialog).flashes, 3);
      EXPECT_EQ(fake(*dialog).activations, activations + 3);
      EXPECT_EQ(desktop().activeWindow(), dialog.get());
      EXPECT_FALSE(desktop().turnWheel(0, 120, {110, 110}));
      EXPECT_EQ(behind.listener.filesDragged({}), platform::DropTaker::nobody);
      EXPECT_TRUE(behind.covered && !fake(*dialog).covered);
      return;
    }
    platform::RunLoop::instance()->removeTimer(timer);
    system.key(Key::enter);
  });
  EXPECT_EQ(dialog->run(window.get()), UDialog::accepted);
  EXPECT_EQ(taken(), "");
  EXPECT_TRUE(window->isOpen() && !behind.covered);
  EXPECT_FALSE(dialog->isOpen());
}

TEST_F(WindowTest, modal_dialog_takes_the_pointer_from_who_runs_it_and_ends_with_the_program)
{
  LoggingView& own = window->add(view("own", {0, 0, 50, 50}));
  auto dialog = make<UModalDialog>(Rect{0, 0, 50, 50});
  own.then = [&] {
    application.setQuit();
    EXPECT_EQ(dialog->run(), UDialog::cancelled);
  };
  fake(*window).press({10, 10});
  EXPECT_EQ(taken(), "own:down 10,10 own:cancel ");
  EXPECT_EQ(window->mouseView(), nullptr);
}

TEST_F(WindowTest, popups_hold_pointer_and_keys_and_close_on_a_press_outside)
{
  LoggingView& own = window->add(view("own", {0, 0, 50, 50}));
  own.setFocusable(true);
  own.takesKeys = true;
  own.takeFocus();
  auto menu = make<UPopupWindow>(Rect{400, 400, 500, 500});
  auto submenu = make<UPopupWindow>(Rect{500, 400, 600, 500});
  menu->add(view("item", {0, 0, 100, 20}));
  menu->open(window.get(), UWindow::Stored::ignore);
  submenu->open(menu.get(), UWindow::Stored::ignore);
  taken();
  system.key(Key('A'), "a");
  fake(*submenu).click({-90, 10}); // over the menu below
  EXPECT_EQ(taken(), "item:down 10,10 item:up item:enter ");
  EXPECT_TRUE(submenu->isOpen());
  fake(*menu).release({10, 10});
  EXPECT_EQ(taken(), "item:up ") << "of a press on what opened it";
  system.key(Key::escape);
  EXPECT_FALSE(submenu->isOpen());
  fake(*menu).press({-50, 10});
  EXPECT_FALSE(menu->isOpen());
  taken();
  system.key(Key('A'), "a");
  EXPECT_EQ(taken(), "own:key A ") << "the keys are back where they were";
}

TEST_F(WindowTest, press_on_another_window_closes_the_popups_and_does_nothing_else)
{
  LoggingView& own = window->add(view("own", {0, 0, 50, 50}));
  own.setFocusable(true);
  own.takeFocus();
  auto menu = make<UPopupWindow>(Rect{400, 400, 500, 500});
  menu->open(window.get(), UWindow::Stored::ignore);
  window->remove(own); // had the keys before
  taken();
  fake(*window).press({10, 10});
  EXPECT_FALSE(menu->isOpen());
  EXPECT_EQ(application.activeControl(), nullptr);
}

// Keys and wheel

TEST_F(WindowTest, key_goes_along_its_chain_until_somebody_takes_it)
{
  class Asked final : public UDocWindow {
  public:
    Asked(std::string_view name, std::string& log) : UDocWindow(Rect{0, 0, 90, 90}), log_(log)
    {
      setName(name);
    }
    bool keyDown(const UKeyCode&) override
    {
      log_ += std::string(name().view()) + " ";
      return false;
    }
    std::string& log_;
  };
  auto document = make<Asked>("document", log);
  document->UWindow::open();
  document->setMenuBar(view("bar", {0, 0, 10, 10}));
  auto panel = opened<UPanel>();
  LoggingView& own = panel->add(view("own", {0, 0, 90, 90}));
  own.setFocusable(true);
  own.takeFocus();
  bool takes = false;
  application.setKeyFilter([&](const UKeyCode&) { return log += "filter ", false; });
  application.setKeyCommands([&](const UKeyCode&) { return log += "commands ", takes; });
  taken();
  EXPECT_FALSE(system.key(Key('A'), "a"));
  EXPECT_EQ(taken(), "filter own:key A document bar:key A commands ");
  takes = true;
  application.setPrefersKeyCommands(true);
  EXPECT_TRUE(system.key(Key('A'), "a"));
  EXPECT_EQ(taken(), "filter own:key A commands ");
  own.takesKeys = true;
  EXPECT_TRUE(system.key(Key('A'), "a"));
  EXPECT_EQ(taken(), "filter own:key A ");
  application.setActiveControl(nullptr);
  system.pointerAt = {110, 110};
  EXPECT_TRUE(system.key(Key::shift)) << "a modifier goes to the view under the pointer";
  EXPECT_EQ(taken(), "filter own:key Shift ");
  system.childClass = "Edit";
  EXPECT_FALSE(system.key(Key('A'), "a"));
  EXPECT_EQ(taken(), "") << "stays with the native child";
}

TEST_F(WindowTest, tab_moves_the_focus_over_those_that_can_have_it)
{
  for (const char* name : {"a", "b", "c"})
    window->add(view(name, {0, 0, 10, 10})).setFocusable(true);
  const auto focus = [&] { return std::string(window->focusView()->name().view()); };
  system.key(Key::tab);
  EXPECT_EQ(focus(), "a");
  window->children()[1]->setEnabled(false);
  system.key(Key::tab);
  EXPECT_EQ(focus(), "c");
  system.key(Key::tab, "", platform::shiftKey);
  system.key(Key::tab, "", platform::shiftKey);
  EXPECT_EQ(focus(), "c");
  EXPECT_FALSE(system.key(Key::tab, "", platform::controlKey));
  fake(*window).listener.windowDeactivated();
  EXPECT_EQ(application.activeControl(), nullptr);
  fake(*window).listener.windowActivated();
  EXPECT_EQ(application.activeControl(), window->focusView());
  FMessage reset("ResetControllerFocus");
  window->handleMessage(reset);
  EXPECT_EQ(focus(), "a");
}

TEST_F(WindowTest, wheel_walks_from_the_deepest_view_outward_in_whole_notches)
{
  LoggingView& outer = window->add(view("outer", {0, 0, 90, 90}));
  LoggingView& inner = outer.add(view("inner", {0, 0, 50, 50}));
  const auto turn = [&](int32_t distance, Point screen) {
    return desktop().turnWheel(UDesktop::verticalAxis, distance, screen);
  };
  EXPECT_FALSE(turn(60, {110, 110}));
  EXPECT_EQ(taken(), "");
  EXPECT_FALSE(turn(60, {110, 110}));
  EXPECT_EQ(taken(), "inner:Wheel outer:Wheel ");
  inner.takesMessages = true;
  EXPECT_TRUE(turn(-120, {110, 110}));
  EXPECT_EQ(taken(), "inner:Wheel ");
  EXPECT_FALSE(turn(120, {10, 10})) << "no window there";
  outer.takesMessages = true;
  application.setActiveControl(&outer);
  EXPECT_TRUE(turn(120, {10, 10}));
  EXPECT_EQ(taken(), "outer:Wheel ");
}

TEST_F(WindowTest, filter_ends_any_message_before_the_window)
{
  window->add(view("own", {0, 0, 90, 90}));
  application.setPreFilter(
      [&](const UWindowMessage& message) { return message.kind != UWindowMessageKind::wheel; });
  FakeWindow& native = fake(*window);
  native.paint();
  native.click({10, 10});
  native.listener.windowCloseRequested();
  application.runPasses();
  EXPECT_EQ(taken(), "");
  EXPECT_TRUE(window->isOpen());
}

TEST_F(WindowTest, tip_shows_after_a_rest_and_goes_with_any_event)
{
  UView& own = window->add(make<UView>(Rect{0, 0, 90, 90}));
  own.setTip("Words");
  FakeWindow& native = fake(*window);
  const auto rest = [&] {
    native.move({20, 20});
    for (int i = 0; i < 200 && !desktop().toolTips().isShown(); ++i)
      platform::RunLoop::instance()->runOnce(UToolTips::restMilliseconds);
    return desktop().toolTips().isShown();
  };
  ASSERT_TRUE(rest());
  EXPECT_EQ(desktop().topWindow(), window.get()) << "a tip takes nothing";
  native.move({21, 21});
  EXPECT_TRUE(desktop().toolTips().isShown()) << "over the same view it stays";
  system.key(Key('A'), "a");
  EXPECT_FALSE(desktop().toolTips().isShown());
  ASSERT_TRUE(rest());
  window->remove(own);
  EXPECT_FALSE(desktop().toolTips().isShown());
}

TEST_F(WindowTest, work_shows_in_the_pointer_of_all_windows)
{
  ASSERT_TRUE(application.canWait());
  application.setWaitState(1);
  EXPECT_EQ(fake(*window).cursor, platform::Cursor::wait);
  EXPECT_EQ(fake(*opened()).cursor, platform::Cursor::wait);
  application.setWaitState(0);
  EXPECT_EQ(fake(*window).cursor, platform::Cursor::arrow);
}
