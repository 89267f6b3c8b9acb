#include "ui/dialogs/file_dialog.h"

#include "foundation/file_stream.h"
#include "platform/clock.h"
#include "platform/temporary_folder.h"
#include "ui/dialogs/file_selector.h"
#include "ui/fake_windows.h"
#include "ui/views/basic/button.h"

#ifdef ORBI_HAVE_GIO
#include "shared/fake_portal.h"
#endif

using namespace orbi;
using Names = std::vector<std::string>;

namespace {

class FileDialog : public Windows {
protected:
  Ref<UDocWindow> window = opened({0, 0, 300, 200});
  FakeWindow& native = fake(*window);
  TemporaryFolder folder;
  FFileType type{"Effect Program", "AFxP", "fxp"};

  void keys(std::initializer_list<const char*> names)
  {
    for (const char* name : names)
      desktop().routeKey(UKeyCode::parse(name));
  }
};

class Selector : public FileDialog {
protected:
  Ref<UFileSelector> selector;
  UListBox* list = nullptr;

  void open(uint32_t mode)
  {
    selector = make<UFileSelector>(FFileQuestion{"Title", type, mode}, folder.path());
    ASSERT_TRUE(selector->open(window.get(), UWindow::Stored::ignore));
    list = castTo<UListBox>(selector->findView("files"));
  }
  void press(const char* name)
  {
    selector->command(*selector->findView(name), UWindow::commandClick);
  }
  std::string words(const char* name) { return selector->findView(name)->title().text(); }
};

} // namespace

TEST_F(Selector, lists_a_type_or_all_files_in_the_readers_order)
{
  for (const char* name : {"b.fxp", "A.FXP", "a.fxp", "note.txt", ".hidden", "Sub/c.fxp", "fxp"})
    folder.write(name, "");
  open(openRead);
  EXPECT_EQ(list->items(), (Names{"Sub/", "A.FXP", "a.fxp", "b.fxp"}));
  press("all");
  EXPECT_EQ(list->items(), (Names{"Sub/", "A.FXP", "a.fxp", "b.fxp", "fxp", "note.txt"}));
  system.type("n");
  keys({"Return"});
  EXPECT_EQ(selector->result(), UDialog::accepted);
  EXPECT_EQ(selector->chosen(), folder / "note.txt");
}

TEST_F(Selector, new_folder_is_named_in_place_and_entered)
{
  folder.write("file", "");
  open(openWrite);
  press("new folder");
  keys({"Escape"});
  EXPECT_FALSE(selector->findView("folder")->isVisible());
  EXPECT_TRUE(selector->isOpen());
  press("new folder");
  for (const char* wrong : {"file", "not/there"}) {
    keys({"Ctrl+A"});
    system.type(wrong);
    keys({"Return"});
    EXPECT_EQ(words("trouble"), "The folder \"" + std::string(wrong) + "\" can't be made.");
  }
  keys({"Ctrl+A"});
  system.type("new");
  keys({"Return"});
  EXPECT_EQ(castTo<UTextEdit>(selector->findView("path"))->text(), folder / "new");
  system.type("name");
  keys({"Return"});
  EXPECT_EQ(selector->chosen(), folder / "new" / "name.fxp");
}

#ifdef ORBI_HAVE_GIO

namespace {

class DesktopsDialog : public FileDialog {
protected:
  void SetUp() override
  {
    if (!bus.isRunning())
      GTEST_SKIP() << "there is no dbus-daemon";
    portal.emplace();
    defaults.getGroup("File Dialog")->setString("AFxP", folder.path().c_str());
  }
  std::optional<std::filesystem::path> ask(uint32_t mode)
  {
    return UFileDialog(window.get()).ask({"Title", type, mode});
  }
  /// What the user does in the dialog, as soon as it is there.
  void choose(const std::string& name)
  {
    portal->accept();
    portal->respond(0, ("{'uris': <['file://" + (folder / name).string() + "']>}").c_str());
  }

  DBusDaemon bus;
  std::optional<FakePortal> portal;
};

} // namespace

TEST_F(DesktopsDialog, windows_stand_back_behind_it_and_what_comes_later_lies_above)
{
  int pressed = 0;
  auto& button = window->add(make<UPushButton>(Rect{0, 0, 300, 100}, "Behind"));
  button.setAction([&] { ++pressed; });
  button.takeFocus();
  const auto use = [&] {
    native.click({20, 20});
    system.key(platform::Key::space, " ");
    return std::exchange(pressed, 0);
  };
  portal->onCall = [&] {
    native.listener.windowDeactivated();
    EXPECT_EQ(use(), 0);
    const auto above = opened<UModalDialog>({0, 0, 100, 100});
    system.key(platform::Key::escape);
    application.runPasses();
    EXPECT_FALSE(above->isOpen());
    native.active = true; // before the answer comes
    native.listener.windowActivated();
    EXPECT_FALSE(window->isActive());
    EXPECT_EQ(use(), 0);
    choose("sub/file.fxp");
  };
  EXPECT_EQ(ask(openRead), folder / "sub/file.fxp");
  EXPECT_TRUE(window->isActive());
  EXPECT_EQ(use(), 2);
  std::filesystem::create_directory(folder / "sub");
  portal->onCall = [&] { choose("file"); };
  EXPECT_EQ(ask(openRead), folder / "file");
  EXPECT_THAT(portal->called, testing::HasSubstr("/sub'>")) << "the last folder";
}

TEST_F(DesktopsDialog, name_that_grows_an_extension_is_asked_for_by_us)
{
  folder.write("there.fxp", "");
  portal->onCall = [&] { choose("new"); };
  EXPECT_EQ(ask(openWrite), folder / "new.fxp");
  portal->onCall = [&] { choose("there.FXP"); };
  EXPECT_EQ(ask(openWrite), folder / "there.FXP") << "the desktop has asked";
  const char* answer = "Escape";
  const auto timer = platform::RunLoop::instance()->addTimer(10, [&] {
    if (desktop().modalWindow())
      keys({std::exchange(answer, "Return")});
  });
  portal->calls = 0;
  portal->onCall = [&] { choose("there"); };
  EXPECT_EQ(ask(openWrite), folder / "there.fxp");
  platform::RunLoop::instance()->removeTimer(timer);
  EXPECT_EQ(portal->calls, 2) << "the first time the file was to be kept";
  EXPECT_THAT(portal->called, testing::HasSubstr("'current_name': <'there.fxp'>"));
}

TEST_F(DesktopsDialog, ours_comes_where_it_never_came_and_not_where_it_was_closed)
{
  bool isOurs = false;
  const auto timer = platform::RunLoop::instance()->addTimer(10, [&] {
    if (castTo<UFileSelector>(desktop().topWindow()))
      isOurs = true;
    keys({"Escape"});
  });
  native.active = true;
  native.listener.windowActivated();
  portal->onCall = [&] { portal->refuse(); };
  EXPECT_FALSE(ask(openRead));
  EXPECT_TRUE(std::exchange(isOurs, false));
  portal->onCall = [&] { portal->accept(), portal->respond(2); };
  EXPECT_FALSE(ask(openRead));
  EXPECT_TRUE(std::exchange(isOurs, false));
  portal->onCall = [&] {
    native.listener.windowDeactivated();
    portal->accept();
    portal->respond(2);
  };
  EXPECT_FALSE(ask(openRead));
  EXPECT_FALSE(isOurs) << "it had the keys";
  platform::RunLoop::instance()->removeTimer(timer);
}

TEST_F(DesktopsDialog, window_that_waits_for_it_can_be_had_back)
{
  const std::function<void()> ways[] = {
      [&] { system.key(platform::Key::escape); },
      [&] { native.listener.windowCloseRequested(); },
      [&] { window->closeNow(); },
  };
  for (const auto& way : ways) {
    EXPECT_TRUE(window->isOpen());
    portal->onCall = [&] { portal->accept(), way(); };
    portal->closed = 0;
    EXPECT_FALSE(ask(openRead));
    for (int i = 0; i < 500 && portal->closed == 0; ++i)
      platform::RunLoop::instance()->runOnce(10);
    EXPECT_EQ(portal->closed, 1);
  }
}

#endif
