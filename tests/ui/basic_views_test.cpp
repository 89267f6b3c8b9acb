#include "ui/fake_windows.h"
#include "ui/values/int_value.h"
#include "ui/values/string_value.h"
#include "ui/views/basic/button.h"
#include "ui/views/basic/list_box.h"
#include "ui/views/basic/text_edit.h"
#include "ui/views/basic/theme.h"
#include "ui/views/dialogs.h"
#include "ui/views/graphics.h"

using namespace orbi;
using platform::Key;

namespace {

class BasicViews : public Windows {
protected:
  Ref<UDocWindow> window = opened({0, 0, 300, 200});
  FakeWindow& native = fake(*window);

  void keys(std::initializer_list<const char*> names)
  {
    for (const char* name : names)
      desktop().routeKey(UKeyCode::parse(name));
  }
};

class Edit : public BasicViews {
protected:
  UStringValue value{"one two"};
  UTextEdit& edit = window->add(make<UTextEdit>(Rect{10, 10, 110, 34}, &value));
  std::string text() { return edit.text(); }
};

class List : public BasicViews {
protected:
  UIntValue value{0, 0, 99};
  UListBox& list = window->add(make<UListBox>(Rect{0, 0, 200, 102}, &value));
  int32_t acted = -1;

  List()
  {
    std::vector<std::string> items;
    for (int i = 0; i < 50; ++i)
      items.push_back("Item " + std::to_string(i));
    items.insert(items.end(), {"Bass", "Bell", "bow"});
    list.setItems(std::move(items));
    list.setAction([this](int32_t index) { acted = index; });
    list.takeFocus();
  }
};

} // namespace

TEST_F(Edit, keys_edit_whole_characters_and_words)
{
  edit.takeFocus();
  system.type("x");
  EXPECT_EQ(text(), "x") << "the focus selects all";
  edit.setText("a\xC3\xA9 bc");
  keys({"Home", "Right Arrow", "Delete"});
  EXPECT_EQ(text(), "a bc");
  keys({"Ctrl+Right Arrow", "Ctrl+Backspace"});
  EXPECT_EQ(text(), "a ");
  keys({"Shift+Left Arrow", "Shift+Left Arrow", "Backspace", "Backspace"});
  EXPECT_EQ(text(), "");
  EXPECT_FALSE(desktop().routeKey(UKeyCode::parse("Ctrl+S"))) << "is somebody else's";
}

TEST_F(Edit, clipboard_takes_the_selection_and_gives_one_line)
{
  edit.takeFocus();
  keys({"Ctrl+A", "Ctrl+C", "End"});
  system.clip += "\n\x01more\t";
  keys({"Ctrl+V", "Shift+Home", "Shift+Delete"});
  EXPECT_EQ(text(), "");
  EXPECT_EQ(system.clip, "one twoone two more ");
  edit.setText("fixed");
  edit.setReadOnly(true);
  keys({"Ctrl+A", "Ctrl+X", "Ctrl+V"});
  EXPECT_EQ(text(), "fixed");
  EXPECT_EQ(system.clip, "fixed");
}

TEST_F(Edit, value_hears_at_the_end_and_escape_takes_back)
{
  edit.takeFocus();
  system.type("new");
  EXPECT_EQ(value.string(), "one two");
  keys({"Escape"});
  EXPECT_EQ(text(), "one two");
  system.type("new");
  keys({"Return"});
  EXPECT_EQ(value.string(), "new");
  system.type("er");
  window->setFocusView(nullptr);
  EXPECT_EQ(value.string(), "newer");
}

TEST_F(Edit, value_that_hears_at_once_sets_the_text_right_at_the_end)
{
  UIntValue number{0, 0, 50};
  UTextEdit& other = window->add(make<UTextEdit>(Rect{10, 50, 110, 74}, &number));
  other.setCommit(UTextEdit::Commit::immediately);
  for (const char* end : {"Return", "Tab"}) {
    other.takeFocus();
    system.type("7");
    EXPECT_EQ(number.getInt(), 7);
    system.type("5");
    EXPECT_EQ(number.getInt(), 50);
    application.runPasses();
    EXPECT_EQ(other.text(), "75") << "while it is typed";
    keys({end});
    EXPECT_EQ(other.text(), "50");
    window->setFocusView(nullptr);
  }
}

TEST_F(Edit, pointer_selects_by_place_and_by_word)
{
  const int32_t middleOfTwo = 15 + UGraphics::measure("one t", UTheme::instance().font).width;
  native.click({10 + middleOfTwo - 10, 20});
  native.click({10 + middleOfTwo - 10, 20});
  EXPECT_EQ(edit.selectedText(), "two");
  native.pause();
  native.press({12, 20});
  native.move({500, 20}, platform::leftButton);
  EXPECT_EQ(edit.selectedText(), "one two");
}

TEST_F(Edit, long_text_is_bounded_and_stays_in_view)
{
  edit.takeFocus();
  system.clip = std::string(UTextEdit::longest * 2, 'x') + "\xC3";
  keys({"Ctrl+A", "Ctrl+V"});
  EXPECT_EQ(text().size(), UTextEdit::longest);
  edit.setText(std::string(200, 'm'));
  keys({"End"});
  native.press({105, 20}); // at the right edge
  EXPECT_GT(edit.caret(), 190u);
}

TEST_F(List, keys_move_the_selection_and_the_bar_after_it)
{
  keys({"Down Arrow", "Down Arrow", "Up Arrow", "Page Down"});
  EXPECT_EQ(value.getValue(), 5);
  keys({"End", "Down Arrow"});
  EXPECT_EQ(list.selected(), 52);
  EXPECT_EQ(list.itemAt({5, 95}), 52) << "it is shown";
  keys({"Return"});
  EXPECT_EQ(acted, 52);
  keys({"Home"});
  EXPECT_EQ(list.itemAt({5, 5}), 0);
}

TEST_F(List, typing_finds_and_the_same_letter_goes_on)
{
  system.type("b");
  EXPECT_EQ(list.selected(), 50);
  system.type("b");
  EXPECT_EQ(list.selected(), 51);
  system.type("b");
  EXPECT_EQ(list.selected(), 52);
  list.setItems({"Alpha", "Beta", "Bow", "Bass"});
  system.type("bo");
  EXPECT_EQ(list.selected(), 2);
}

TEST_F(List, pointer_selects_scrolls_and_acts)
{
  system.pointerAt = {20, 20};
  EXPECT_TRUE(desktop().turnWheel(UDesktop::verticalAxis, -120, {20, 20}));
  native.click({20, 30});
  EXPECT_EQ(value.getValue(), 4);
  EXPECT_EQ(acted, -1);
  native.click({20, 30});
  EXPECT_EQ(acted, 4);
  native.press({195, 15}); // the bar's thumb, to its end
  native.move({195, 900}, platform::leftButton);
  native.release({195, 900});
  EXPECT_EQ(list.itemAt({5, 95}), 52);
  list.setItems({});
  keys({"Down Arrow"});
  native.click({20, 30});
  EXPECT_EQ(list.selected(), -1);
}

TEST_F(BasicViews, action_may_put_its_dialog_away)
{
  auto dialog = make<UModalDialog>(Rect{0, 0, 200, 100});
  auto& button = dialog->add(make<UPushButton>(Rect{0, 0, 90, 30}, "OK"));
  button.setName(UDialog::defaultName);
  UDialog* borrowed = dialog.get();
  button.setAction([borrowed] { borrowed->closeNow(); });
  dialog->open(window.get(), UWindow::Stored::ignore);
  dialog = nullptr;
  keys({"Return"});
  EXPECT_EQ(desktop().modalWindow(), nullptr);
}

TEST_F(BasicViews, long_work_shows_progress_until_it_is_cancelled)
{
  auto progress = make<UProgressDialog>("Work");
  ASSERT_TRUE(progress->begin(window.get()));
  EXPECT_TRUE(progress->step(0.1));
  keys({"Escape"});
  EXPECT_FALSE(progress->step(1.0));
  EXPECT_FALSE(progress->isOpen());
}

TEST_F(BasicViews, label_stands_at_the_side_that_it_is_told)
{
  const auto image = system.graphics().makeImage({200, 30});
  const Rect all{0, 0, 200, 30};
  ULabel label(all, "Label");
  const auto firstColumn = [&](platform::Justify justify) {
    label.setJustify(justify);
    std::ranges::fill(image->pixels(), 0u);
    const auto canvas = system.graphics().makeCanvas(*image);
    label.drawTree(*canvas, {&all, 1}, {});
    size_t first = 200;
    for (size_t i = 0; i < image->pixels().size(); ++i)
      if (image->pixels()[i] != 0)
        first = std::min(first, i % 200);
    return first;
  };
  EXPECT_LT(firstColumn(platform::Justify::left), 10u);
  EXPECT_GT(firstColumn(platform::Justify::center), 60u);
  EXPECT_GT(firstColumn(platform::Justify::right), 130u);
}

TEST_F(BasicViews, every_view_draws_at_any_size_and_scale)
{
  UIntValue half{5, 0, 10};
  std::vector<Ref<UView>> views = {make<ULabel>(Rect(), "Label"),
                                   make<UPushButton>(Rect(), "Button"),
                                   make<UCheckBox>(Rect(), "Check", &half),
                                   make<UTextEdit>(Rect(), &half),
                                   make<UListBox>(),
                                   make<UProgressBar>(Rect(), &half),
                                   make<UScrollBar>()};
  static_cast<UListBox&>(*views[4]).setItems({"a", "b"});
  const auto image = system.graphics().makeImage({200, 100});
  for (const double scale : {1.0, 1.5, 2.0})
    for (const Size size : {Size{0, 0}, Size{1, 1}, Size{3, 40}, Size{90, 24}})
      for (const Ref<UView>& each : views) {
        each->setRect(Rect::at({}, size));
        std::ranges::fill(image->pixels(), 0u);
        const auto canvas = system.graphics().makeCanvas(*image);
        canvas->scale(scale);
        const Rect all{0, 0, 200, 100};
        each->drawTree(*canvas, {&all, 1}, {});
        const bool drew = std::ranges::any_of(image->pixels(), [](uint32_t p) { return p != 0; });
        EXPECT_TRUE(drew == (size.width > 0) || size.width < 90) << each->getClassName() << scale;
      }
}
