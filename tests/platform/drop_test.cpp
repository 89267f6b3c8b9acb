#ifdef ORBI_HAVE_X11

#include "platform/window_system_fixture.h"
#include "shared/x_drag.h"

#include <set>

namespace {

/// A plug-in's window that takes drops and notes what it is told.
class Field : public XUser {
public:
  Field(xcb_window_t parent, uint32_t version) : window(makeWindow(parent, 80, 40, 0))
  {
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, window, atom("XdndAware"),
                        XCB_ATOM_ATOM, 32, 1, &version);
    sync();
  }
  const xcb_window_t window;
  Told told;
  std::string data;
  std::set<std::string> silentAt;

  void serve()
  {
    while (const auto event = reply(xcb_poll_for_event(connection())))
      if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE)
        hear(reinterpret_cast<const xcb_client_message_event_t&>(*event));
      else if ((event->response_type & 0x7f) == XCB_SELECTION_NOTIFY)
        finish();
  }

private:
  void hear(const xcb_client_message_event_t& message)
  {
    EXPECT_EQ(message.window, window);
    source_ = message.data.data32[0];
    for (const char* type : {"Enter", "Position", "Drop", "Leave"}) {
      if (message.type != atom(std::string("Xdnd") + type))
        continue;
      told.push_back(type);
      if (silentAt.contains(type))
        return;
      if (told.back() == "Position")
        send(source_, "XdndStatus", {window, 1, 0, 0, atom("XdndActionCopy")});
      else if (told.back() == "Drop")
        xcb_convert_selection(connection(), window, atom("XdndSelection"), atom("text/uri-list"),
                              atom("HERE"), message.data.data32[2]);
      sync();
    }
  }
  void finish()
  {
    data = property(window, "HERE");
    send(source_, "XdndFinished", {window, 1, atom("XdndActionCopy")});
  }
  xcb_window_t source_ = 0;
};

class DropTest : public WindowSystemTest {
protected:
  void SetUp() override
  {
    WindowSystemTest::SetUp();
    if (!system)
      return;
    window = open(at({100, 100, 300, 200}));
    child = window->makeChild({0, 20, 200, 100}, "Plugin Editor");
    listener.told.clear();
  }
  /// Once the plug-in's window and the program that drags have done what they are asked to.
  bool answered(XDrag& drag, const std::optional<bool>& answer, Field* field = nullptr)
  {
    EXPECT_TRUE(until([&] {
      drag.serve();
      if (field != nullptr)
        field->serve();
      return answer.has_value();
    }));
    return answer.value_or(false);
  }
  /// Drags and drops, and tells whether it was taken.
  bool drops(XDrag& drag, Point place, Field* field = nullptr)
  {
    drag.over(idOf(window->handle()), place.x, place.y);
    if (!answered(drag, drag.accepts, field))
      return false;
    drag.drop();
    return answered(drag, drag.taken, field);
  }
  std::unique_ptr<Window> window;
  std::unique_ptr<ChildWindow> child;
};

constexpr Point besideTheField{150, 190}, overTheField{150, 130};

} // namespace

TEST_F(DropTest, files_arrive_with_their_place_and_nothing_else_does)
{
  XDrag drag("# two\r\nfile:///tmp/a%20b%ff%2\r\nfile://elsewhere/x\r\nhttp://x/y\r\n"
             "file://localhost/z\r\nfile:///n%00\r\n");
  EXPECT_TRUE(drops(drag, {150, 120}));
  EXPECT_EQ(listener.told, Told{"drop 50,20"});
  EXPECT_THAT(listener.files, ElementsAre("/tmp/a b\xff%2", "/z"));
  EXPECT_EQ(drag.timesAsked, 1);

  listener.told.clear();
  listener.dropTaker = DropTaker::nobody;
  EXPECT_FALSE(drops(drag, {150, 120}));
  listener.dropTaker = DropTaker::child; // there is none that takes them
  EXPECT_FALSE(drops(drag, {150, 120}));
  EXPECT_TRUE(listener.told.empty());

  listener.dropTaker = DropTaker::window;
  XDrag late("file:///late\r\n");
  late.handsOver = false;
  late.over(idOf(window->handle()), 150, 120);
  EXPECT_TRUE(answered(late, late.accepts));
  late.handsOver = true; // once it is dropped
  late.drop();
  EXPECT_TRUE(answered(late, late.taken));
  EXPECT_THAT(listener.files, ElementsAre("/late"));
}

TEST_F(DropTest, lists_of_any_length_come_whole_or_in_parts_up_to_a_bound)
{
  const std::string line = "file:///a/folder/with/a/long/name/and/a/file\r\n";
  for (const auto& [lines, part] :
       {std::pair{20000, 0}, {20000, 70000}, {100000, 70000}, {100000, 0}}) {
    std::string list;
    for (int i = 0; i < lines; ++i)
      list += line;
    XDrag drag(list, part);
    const bool fits = lines < 50000;
    EXPECT_EQ(drops(drag, {150, 120}), fits) << lines << ' ' << part;
    EXPECT_EQ(listener.files.size(), fits ? lines : 0) << part;
    listener.dropTaker = DropTaker::window;
  }
}

TEST_F(DropTest, a_drag_that_another_one_follows_gets_its_answer_and_mixes_nothing_up)
{
  const auto id = idOf(window->handle());
  XDrag former("file:///former\r\n"), later("file:///later\r\n");
  former.time = 1;
  later.time = 2;
  for (XDrag* each : {&former, &later}) {
    each->own(each->source, "XdndSelection");
    each->over(id, 150, 120);
    settle();
  }
  EXPECT_FALSE(answered(former, former.accepts)); // and only now hands over its list
  settle();
  later.send(id, "XdndEnter", {0x1234, 5u << 24}); // by nobody
  EXPECT_TRUE(answered(later, later.accepts));
  // Whoever drags may take a long text meanwhile.
  system->setClipboard(std::string(17 << 20, 'x'));
  settle();
  xcb_convert_selection(later.connection(), later.source, later.atom("CLIPBOARD"),
                        later.atom("UTF8_STRING"), later.atom("HERE"), XCB_CURRENT_TIME);
  later.sync();
  settle();
  later.drop();
  EXPECT_TRUE(answered(later, later.taken));
  EXPECT_THAT(listener.files, ElementsAre("/later"));
  EXPECT_EQ(later.take(later.source, "HERE").size(), 4u);
  settle();
  EXPECT_GT(later.take(later.source, "HERE").size(), 4u);
}

TEST_F(DropTest, what_is_not_the_windows_goes_on_to_the_plug_ins_window_under_the_pointer)
{
  for (const uint32_t version : {5u, 3u}) {
    Field field(idOf(child->handle()), version);
    Field deeper(field.window, version); // which lies on all of it
    XDrag drag("file:///x.sf2\r\n");
    listener.dropTaker = DropTaker::child;
    EXPECT_FALSE(drops(drag, besideTheField, &deeper));
    EXPECT_TRUE(drops(drag, overTheField, &deeper));
    EXPECT_EQ(deeper.data, "file:///x.sf2\r\n");
    drag.over(idOf(window->handle()), overTheField.x, overTheField.y);
    EXPECT_TRUE(answered(drag, drag.accepts, &deeper));
    drag.over(idOf(window->handle()), besideTheField.x, besideTheField.y);
    EXPECT_FALSE(answered(drag, drag.accepts, &deeper));
    deeper.told.clear();
    listener.dropTaker = DropTaker::window; // whatever it lies over
    EXPECT_TRUE(drops(drag, overTheField, &deeper));
    EXPECT_EQ(listener.told.back(), "drop 50,30");
    settle();
    deeper.serve();
    EXPECT_TRUE(deeper.told.empty() && field.told.empty());
    listener.told.clear();
  }
}

TEST_F(DropTest, whatever_a_plug_ins_window_does_the_drag_gets_its_answers)
{
  listener.dropTaker = DropTaker::child;
  const auto id = idOf(window->handle());
  XDrag drag("file:///x.sf2\r\n");
  {
    Field dumb(idOf(child->handle()), 5);
    dumb.silentAt = {"Position", "Drop"};
    drag.over(id, overTheField.x, overTheField.y);
    EXPECT_FALSE(answered(drag, drag.accepts, &dumb));
    drag.drop();
    EXPECT_FALSE(answered(drag, drag.taken, &dumb));
    EXPECT_EQ(dumb.told, (Told{"Enter", "Position", "Drop"}));
  }
  for (const std::string last : {"Position", "Drop"}) {
    auto mortal = std::make_unique<Field>(idOf(child->handle()), 5);
    mortal->silentAt = {last};
    drag.over(id, overTheField.x, overTheField.y);
    if (last == "Drop") {
      EXPECT_TRUE(answered(drag, drag.accepts, mortal.get()));
      drag.drop();
    }
    ASSERT_TRUE(until([&] {
      drag.serve();
      mortal->serve();
      return !mortal->told.empty() && mortal->told.back() == last;
    }));
    mortal.reset();
    EXPECT_FALSE(answered(drag, last == "Drop" ? drag.taken : drag.accepts));
  }
  // And the other way round: who drags goes amidst, or our window does.
  Field field(idOf(child->handle()), 5);
  {
    XDrag mortal("file:///x.sf2\r\n");
    mortal.over(id, overTheField.x, overTheField.y);
    EXPECT_TRUE(answered(mortal, mortal.accepts, &field));
  }
  ASSERT_TRUE(until([&] {
    field.serve();
    return field.told.back() == "Leave";
  }));
  drag.over(id, overTheField.x, overTheField.y);
  EXPECT_TRUE(answered(drag, drag.accepts, &field));
  drag.drop();
  settle();
  child.reset();
  window.reset();
  EXPECT_FALSE(answered(drag, drag.taken));
}

#endif
