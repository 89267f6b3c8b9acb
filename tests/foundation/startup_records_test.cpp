#include "foundation/plug_dependencies.h"
#include "foundation/startup_records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

using namespace orbi;
using testing::ElementsAre;

namespace {

std::vector<std::string> ran;

template <char Name, bool Result = true>
bool note()
{
  ran.push_back(std::string(1, Name));
  return Result;
}

class StartupRecords : public testing::Test {
protected:
  // Takes away the records of the program itself, which the tests don't run.
  void SetUp() override
  {
    dropStartupRecords();
    ran.clear();
  }
  void TearDown() override { dropStartupRecords(); }
};

} // namespace

/// The statics of the layer entered themselves before main. They run once in a process.
TEST(StartupRecordsOfTheLayer, make_and_destroy_the_interface_dependencies)
{
  if (FInitializer::hasRun())
    GTEST_SKIP() << "a repetition";
  EXPECT_EQ(FPlugDependencies::instance(), nullptr);
  EXPECT_TRUE(FInitializer::runAll());
  EXPECT_NE(FPlugDependencies::instance(), nullptr);
  EXPECT_TRUE(FInitializer::hasRun());
  EXPECT_TRUE(FTerminator::runAll());
  EXPECT_EQ(FPlugDependencies::instance(), nullptr);
}

TEST_F(StartupRecords, run_pre_initializers_by_priority)
{
  FPreInitializer late(note<'l'>, "late", 5), first(note<'f'>, "first", -1),
      second(note<'s'>, "second", 0), third(note<'t'>, "third", 0);
  EXPECT_LT(first.compare(&late), 0);
  EXPECT_TRUE(FPreInitializer::runAll());
  EXPECT_THAT(ran, ElementsAre("f", "s", "t", "l"));
  EXPECT_TRUE(FPreInitializer::runAll()) << "a list runs once";
  EXPECT_EQ(ran.size(), 4u);
}

TEST_F(StartupRecords, run_up_to_the_first_false)
{
  FPostInitializer a(note<'a'>, "a"), b(note<'b', false>, "b"), c(note<'c'>, "c");
  EXPECT_FALSE(FPostInitializer::runAll());
  EXPECT_THAT(ran, ElementsAre("a", "b"));
  FInitializer d(note<'d', false>, "d"), e(note<'e'>, "e", "d"), f(note<'f'>, "f");
  EXPECT_FALSE(FInitializer::runAll());
  EXPECT_THAT(ran, ElementsAre("a", "b", "d"));
  FTerminator g(note<'g'>, "g");
  dropStartupRecords();
  EXPECT_TRUE(FTerminator::runAll() && FInitializer::runAll());
  EXPECT_EQ(ran.size(), 3u);
}

TEST_F(StartupRecords, let_initializers_wait_for_their_predecessors)
{
  FInitializer c(note<'c'>, "c", "b"), b(note<'b'>, "b", "a"), x(note<'x'>, "x"), a(note<'a'>, "a"),
      d(note<'d'>, "d", "a");
  EXPECT_TRUE(FInitializer::runAll());
  EXPECT_THAT(ran, ElementsAre("x", "a", "d", "b", "c"));
}

TEST_F(StartupRecords, run_what_waits_in_vain_at_the_end_in_list_order)
{
  FInitializer lost(note<'l'>, "lost", "nobody"), one(note<'1'>, "one", "two"),
      two(note<'2'>, "two", "one"), behind(note<'b'>, "behind", "lost"), free(note<'f'>, "free");
  EXPECT_TRUE(FInitializer::runAll());
  EXPECT_THAT(ran, ElementsAre("f", "l", "1", "2", "b"));
}
