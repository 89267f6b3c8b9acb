// Menus: their keys, their places, and the ones that the right button opens.
#include "fake_windows.h"
#include "ui/menus/menu_bar.h"
#include "ui/menus/menu_view.h"
#include "ui/views/basic/text_edit.h"

namespace orbi {
namespace {

using platform::Key;

class MenuTest : public Windows {
protected:
  /// Writes down what is chosen; asked, it keeps tag 3 from being chosen and ticks tag 2.
  class Target final : public CmObject {
  public:
    int32_t handleMessage(FMessage& message) override
    {
      auto* item = message.getObject<UMenuItem>("MenuItem");
      if (message.isMessage("MenuSelect"))
        chosen += std::string(item->title().view()) + " ";
      if (message.isMessage("MenuCanSelect")) {
        item->setEnabled(message.getInt("Tag") != 3);
        item->setTicked(message.getInt("Tag") == 2);
      }
      return 1;
    }
    std::string chosen;
  };

  MenuTest()
  {
    auto sub = make<UMenu>("More", "More");
    sub->setTarget(&target);
    sub->add("Deep", 10, UKeyCode::parse("Ctrl+D"));
    sub->add("Deeper", 11);
    for (const auto& menu : {file, edit})
      menu->setTarget(&target);
    file->add("Open", 1, UKeyCode::parse("Ctrl+O"));
    file->add("Safe", 2);
    file->add("Never", 3, UKeyCode::parse("Ctrl+N"));
    file->addSeparator();
    file->addMenu(std::move(sub));
    file->add("Sort", 4);
    edit->add("Cut", 5);
    bar->add(file);
    bar->add(edit);
    window->setMenuBar(bar);
  }
  ~MenuTest() override
  {
    desktop().closeAll();
    application.runPasses();
  }

  UMenuWindow* front() { return castTo<UMenuWindow>(desktop().frontPopup()); }
  std::string frontMenu() { return front() ? front()->menu().title().text() : ""; }
  std::string current()
  {
    const auto view = castTo<UMenuView>(front() ? front()->children()[0].get() : nullptr);
    return view && view->current() ? front()->menu().items()[*view->current()]->title().text() : "";
  }
  std::string chosen()
  {
    application.runPasses();
    return std::exchange(target.chosen, "");
  }

  Target target;
  Ref<UMenu> file = make<UMenu>("Datei", "File");
  Ref<UMenu> edit = make<UMenu>("編集", "Edit");
  Ref<UMenuBar> bar = make<UMenuBar>();
  Ref<UDocWindow> window = opened();
};

TEST_F(MenuTest, keys_walk_what_can_be_chosen_and_lead_into_sub_menus_and_to_the_neighbour)
{
  ASSERT_TRUE(bar->openMenu(0));
  EXPECT_EQ(current(), "");
  system.key(Key::down);
  system.key(Key::down);
  EXPECT_EQ(current(), "Safe");
  EXPECT_TRUE(file->find(2)->isTicked());
  system.key(Key::down);
  EXPECT_EQ(current(), "More") << "neither a separator nor what can't be chosen";
  system.key(Key::right);
  EXPECT_EQ(current(), "Deep");
  system.key(Key::left);
  EXPECT_EQ(current(), "More");
  system.key(Key::left);
  EXPECT_EQ(frontMenu(), "編集") << "around the end";
  system.key(Key::right);
  EXPECT_EQ(frontMenu(), "Datei");
  system.key(Key::up);
  EXPECT_EQ(current(), "Sort");
  system.key(Key::enter);
  EXPECT_FALSE(front());
  EXPECT_EQ(chosen(), "Sort ");
  bar->openMenu(0);
  system.key(Key::escape);
  EXPECT_FALSE(front() || bar->current());
  EXPECT_EQ(chosen(), "");
}

TEST_F(MenuTest, letters_choose_one_entry_and_go_round_several)
{
  bar->openMenu(0);
  system.type("s");
  EXPECT_EQ(current(), "Safe");
  system.type("s");
  EXPECT_EQ(current(), "Sort");
  system.type("n");
  EXPECT_TRUE(front()) << "that one can't be chosen";
  system.type("o");
  EXPECT_EQ(chosen(), "Open ");
}

TEST_F(MenuTest, alt_with_a_letter_opens_the_menu_of_that_title_or_internal_name)
{
  for (const auto& [letter, title] : {std::pair('D', "Datei"), {'F', "Datei"}, {'E', "編集"}}) {
    EXPECT_TRUE(system.key(Key(letter), "", platform::altKey));
    EXPECT_EQ(frontMenu(), title) << letter;
    bar->closeMenu();
  }
  EXPECT_FALSE(system.key(Key('X'), "", platform::altKey));
}

TEST_F(MenuTest, alt_by_itself_begins_at_the_first_title_unless_it_was_held_for_a_press)
{
  for (const bool presses : {true, false}) {
    system.key(Key::alt);
    if (presses)
      fake(*window).press({50, 60}, platform::leftButton, platform::altKey);
    system.listener->keyReleased(fake(*window), {Key::alt, "", 0});
    EXPECT_EQ(bar->current().has_value(), !presses);
  }
}

TEST_F(MenuTest, shortcuts_choose_while_no_menu_is_open_unless_the_entry_cant_be_chosen)
{
  EXPECT_TRUE(system.key(Key('O'), "", platform::controlKey));
  EXPECT_TRUE(system.key(Key('D'), "", platform::controlKey));
  EXPECT_FALSE(system.key(Key('N'), "", platform::controlKey));
  EXPECT_EQ(chosen(), "Open Deep ");
}

TEST_F(MenuTest, menus_stay_on_the_screen_and_leave_their_anchor_in_sight)
{
  const Rect area = system.monitors.front().workArea;
  const Rect low = Rect::at({area.right - 40, area.bottom - 30}, {30, 20});
  UMenuWindow* above = UMenuWindow::show(file, window.get(), low, false);
  ASSERT_TRUE(above);
  EXPECT_EQ(above->place().bottom, low.top);
  EXPECT_EQ(above->place().right, area.right);
  above->closeAll();
  UMenuWindow* left = UMenuWindow::show(file, window.get(), low.movedBy(0, -500), true);
  EXPECT_EQ(left->place().right, low.left);
  left->closeAll();
  UMenuWindow* under = UMenuWindow::showAt(file, window.get(), {200, 300}, file->find(4));
  EXPECT_EQ(current(), "Sort");
  EXPECT_LT(under->place().top, 300);
  under->closeAll();
  for (int tag = 100; tag < 200; ++tag)
    edit->add("Entry", tag);
  UMenuWindow* tall = UMenuWindow::show(edit, window.get(), low, false);
  EXPECT_EQ(tall->place().height(), area.height()) << "what is longer scrolls";
}

TEST_F(MenuTest, right_button_opens_what_the_views_there_put_on_a_menu)
{
  class Filling final : public UView {
  public:
    using UView::UView;
    int32_t handleMessage(FMessage& message) override
    {
      if (!message.isMessage("ContextMenu"))
        return 0;
      const auto* where = message.getObject<UPoint>("Where");
      auto* menu = message.getObject<UMenu>("ContextMenu");
      menu->add(std::to_string(where->x) + "," + std::to_string(where->y), 1);
      return 1;
    }
  };
  fake(*window).press({30, 60}, platform::rightButton);
  EXPECT_FALSE(front()) << "nobody had anything to offer";
  auto& outer = window->add(make<Filling>(Rect{10, 40, 110, 140}));
  outer.add(make<Filling>(Rect{10, 10, 50, 50}));
  fake(*window).press({30, 60}, platform::rightButton);
  ASSERT_TRUE(front());
  ASSERT_EQ(front()->menu().items().size(), 2u);
  EXPECT_EQ(front()->menu().items()[0]->title(), "10,10");
  EXPECT_EQ(front()->menu().items()[1]->title(), "20,20");
}

TEST_F(MenuTest, a_line_of_text_is_cut_and_pasted_by_its_menu)
{
  auto& field = window->add(make<UTextEdit>(Rect{10, 40, 110, 64}));
  field.setText("one two");
  field.takeFocus(); // which selects all
  field.select(0, 4);
  const auto pick = [&](const char* title) {
    fake(*window).press({20, 50}, platform::rightButton);
    const auto items = front()->menu().items();
    size_t index = 0;
    while (index < items.size() && !(items[index]->title() == title && items[index]->isEnabled()))
      ++index;
    if (index < items.size())
      front()->choose(index);
    const bool isChosen = !front();
    if (front())
      front()->closeAll();
    application.runPasses();
    return isChosen;
  };
  EXPECT_TRUE(pick("Cut"));
  EXPECT_EQ(field.text() + "|" + system.clip, "two|one ");
  EXPECT_FALSE(pick("Copy")) << "nothing is selected";
  EXPECT_TRUE(pick("Paste"));
  EXPECT_EQ(field.text(), "one two");
  EXPECT_TRUE(pick("Select All"));
  field.setReadOnly(true);
  EXPECT_FALSE(pick("Cut"));
  EXPECT_TRUE(pick("Copy"));
  EXPECT_EQ(system.clip, "one two");
}

} // namespace
} // namespace orbi
