#ifdef ORBI_HAVE_GIO

#include "platform/file_chooser.h"

#include "platform/clock.h"
#include "shared/fake_portal.h"

#include <gmock/gmock.h>

using namespace orbi::platform;
using Outcome = FileChooserAnswer::Outcome;

namespace {

class Chooser : public testing::Test {
protected:
  void SetUp() override
  {
    if (!bus.isRunning())
      GTEST_SKIP() << "there is no dbus-daemon";
  }

  bool until(const std::function<bool()>& holds)
  {
    const auto end = steadyNanoseconds() + 10'000'000'000;
    while (!holds() && steadyNanoseconds() < end)
      loop.runOnce(20);
    return holds();
  }
  std::unique_ptr<FileChooser> open(FileChooserQuestion question = {})
  {
    answers = 0;
    return openFileChooser(std::move(question), [this](const FileChooserAnswer& given) {
      ++answers;
      answer = given;
    });
  }
  /// The whole conversation, with a portal that does this when it is called.
  Outcome outcomeOf(const std::function<void(FakePortal&)>& reaction)
  {
    FakePortal portal;
    portal.onCall = [&] { reaction(portal); };
    const auto chooser = open();
    EXPECT_TRUE(chooser && until([&] { return answers > 0; }));
    for (int i = 0; i < 3; ++i) // nothing may follow
      loop.runOnce(5);
    EXPECT_EQ(answers, 1);
    return answer.outcome;
  }

  RunLoop loop;
  DBusDaemon bus;
  FileChooserAnswer answer;
  int answers = 0;
};

} // namespace

TEST_F(Chooser, portal_is_told_what_is_asked_and_its_choice_is_the_answer)
{
  FakePortal portal(3);
  portal.onCall = [&] {
    portal.accept();
    portal.respond(0, "{'current_filter': <('x', @a(us) [])>, "
                      "'uris': <['file:///tmp/a%20%C3%A9%zz.fxp', 'file:///tmp/b']>}");
  };
  FileChooserQuestion question{
      true,         "Titl\xC3\xA9 \xFF", "Save", {{"Program", "fx2"}, {"All", ""}},
      "/tmp/x\xFF", "a name.",           nullptr};
  question.owner = reinterpret_cast<void*>(uintptr_t{0x2a});
  auto chooser = open(question);
  ASSERT_TRUE(until([&] { return answers == 1; }));
  EXPECT_EQ(answer.outcome, Outcome::chosen);
  EXPECT_EQ(answer.file, "/tmp/a \xC3\xA9%zz.fxp");
  EXPECT_EQ(portal.called,
            "SaveFile ('x11:2a', 'Titl\xC3\xA9 \xEF\xBF\xBD', {'handle_token': <'orbiplayer'>, "
            "'accept_label': <'Save'>, 'modal': <true>, "
            "'filters': <[('Program', [(uint32 0, '*.[fF][xX]2')]), ('All', [(0, '*')])]>, "
            "'current_filter': <('Program', [(uint32 0, '*.[fF][xX]2')])>, "
            "'current_folder': <b'/tmp/x\\377'>, 'current_name': <'a name.'>})");
  question.saves = false;
  chooser = open(question);
  ASSERT_TRUE(until([&] { return answers == 1; }));
  EXPECT_THAT(portal.called, testing::StartsWith("OpenFile ('x11:2a'"));
  EXPECT_THAT(portal.called, testing::EndsWith("'*.[fF][xX]2')])>})"))
      << "this version has no more";
  EXPECT_EQ(portal.closed, 0) << "it closed by itself";
}

TEST_F(Chooser, whatever_else_a_portal_answers_chooses_nothing)
{
  for (const char* results :
       {"{'uris': <['https://host/a.fxp']>}", "{'uris': <['file://elsewhere/a.fxp']>}",
        "{'uris': <['file:///a%00b']>}", "{'uris': <['']>}", "{'uris': <@as []>}", "@a{sv} {}",
        "{'uris': <(1, 'file:///a')>}", "['uris', 'file:///a']", "'file:///a'"}) {
    const auto reaction = [&](FakePortal& portal) {
      portal.accept();
      portal.respond(0, results);
    };
    EXPECT_EQ(outcomeOf(reaction), Outcome::elsewhere) << results;
  }
}

TEST_F(Chooser, dialog_that_ends_without_the_user_is_no_cancelled_one)
{
  const auto after = [this](int milliseconds, std::function<void()> step) {
    auto timer = std::make_shared<int>();
    *timer = loop.addTimer(milliseconds, [this, timer, step] {
      loop.removeTimer(*timer);
      step();
    });
  };
  struct Row {
    std::function<void(FakePortal&)> reaction;
    Outcome outcome;
  };
  const std::vector<Row> rows = {
      {[](FakePortal& p) { p.refuse(); }, Outcome::unavailable},
      {[](FakePortal& p) { p.vanish(), p.accept(); }, Outcome::unavailable},
      {[](FakePortal& p) { p.respond(2), p.accept(); }, Outcome::unavailable},
      {[](FakePortal& p) { p.respond(1), p.accept(); }, Outcome::cancelled},
      {[](FakePortal& p) { p.accept(), p.respond(1); }, Outcome::cancelled},
      {[](FakePortal& p) { p.accept(), p.vanish(); }, Outcome::ended},
      {[&](FakePortal& p) { p.accept(), after(600, [&p] { p.respond(2); }); }, Outcome::ended},
      {[&](FakePortal& p) {
         p.request = "/another/way";
         p.accept();
         after(50, [&p] { p.respond(0, "{'uris': <['file:///a']>}"); });
       },
       Outcome::chosen},
      {[&](FakePortal& p) { p.accept(), after(30, [this] { bus.kill(); }); }, Outcome::ended},
  };
  for (size_t i = 0; i < rows.size(); ++i)
    EXPECT_EQ(outcomeOf(rows[i].reaction), rows[i].outcome) << i;
  EXPECT_EQ(open(), nullptr) << "the bus is dead";
}

TEST_F(Chooser, where_no_portal_is_that_is_said)
{
  auto chooser = open();
  ASSERT_TRUE(chooser && until([&] { return answers == 1; }));
  EXPECT_EQ(answer.outcome, Outcome::unavailable);
  EXPECT_EQ(outcomeOf([](FakePortal&) {}), Outcome::unavailable) << "one that never answers";
  for (const char* address :
       {"", "autolaunch:", "unixexec:path=/bin/false", "unix:path=/none", ";;"}) {
    const Variable none("DBUS_SESSION_BUS_ADDRESS", address);
    EXPECT_EQ(open(), nullptr) << address;
  }
}

#endif
