#include "foundation/dependencies.h"
#include "foundation/plug_dependencies.h"
#include "foundation/ref.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

using namespace orbi;
using testing::ElementsAre;

namespace {

class Subject final : public CmObject {
public:
  ~Subject() override
  {
    if (FDependencies* table = FDependencies::instance())
      table->removeDependent(this, nullptr);
  }
  void onChanged() override { ++completed; }
  int completed = 0;
};

class Dependent final : public CmObject {
public:
  void update(CmObject*, int32_t code) override
  {
    codes.push_back(code);
    if (then)
      then(code);
  }
  std::vector<int32_t> codes;
  std::function<void(int32_t)> then;
};

class PlugDependent final : public CmObject, public IDependent {
public:
  CmResult queryInterface(const FUID& id, void** out) override
  {
    return CmObject::queryInterface(id, out);
  }
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
  using CmObject::update;
  void update(FUnknown*, int32_t code) override { codes.push_back(code); }
  std::vector<int32_t> codes;
};

class Dependencies : public testing::Test {
protected:
  FDependencies table;
  Subject subject;
  Dependent first, second, third;
};

} // namespace

TEST_F(Dependencies, tell_in_order_of_addition_and_duplicates_twice)
{
  std::vector<const Dependent*> told;
  for (Dependent* dependent : {&third, &first, &second, &first}) {
    subject.addDependent(dependent);
    dependent->then = [&told, dependent](int32_t) { told.push_back(dependent); };
  }
  subject.changed(7);
  EXPECT_THAT(told, ElementsAre(&third, &first, &second, &first));
  EXPECT_EQ(subject.completed, 1);
  Subject lonely;
  EXPECT_FALSE(table.changed(&lonely, 1));
  EXPECT_FALSE(table.hasDependents(&lonely));
}

TEST_F(Dependencies, do_not_call_who_was_removed_during_the_fan_out)
{
  for (Dependent* dependent : {&first, &second, &third})
    subject.addDependent(dependent);
  first.then = [&](int32_t) {
    table.removeDependent(&subject, &first);
    table.removeDependent(nullptr, &second);
  };
  subject.changed(1);
  subject.changed(2);
  EXPECT_THAT(first.codes, ElementsAre(1));
  EXPECT_TRUE(second.codes.empty());
  EXPECT_THAT(third.codes, ElementsAre(1, 2));

  third.then = [&](int32_t) { table.removeDependent(&subject, nullptr); };
  subject.addDependent(&second);
  subject.changed(3);
  EXPECT_TRUE(second.codes.empty());
  EXPECT_FALSE(table.hasDependents(&subject));
}

TEST_F(Dependencies, collapse_equal_deferred_notices)
{
  subject.addDependent(&first);
  for (int32_t code : {7, 7, 8, 7})
    subject.deferChanged(code);
  EXPECT_TRUE(first.codes.empty());
  table.flush();
  EXPECT_THAT(first.codes, ElementsAre(7, 8));
  EXPECT_EQ(subject.completed, 2);
  subject.deferChanged(7);
  table.flush();
  EXPECT_THAT(first.codes, ElementsAre(7, 8, 7));
}

TEST_F(Dependencies, without_a_dependent_complete_a_deferred_change_at_once)
{
  subject.deferChanged(7);
  EXPECT_EQ(subject.completed, 1);
  subject.addDependent(&first);
  subject.deferChanged(8);
  subject.removeDependent(&first); // the last one takes the notices with it
  subject.addDependent(&first);
  table.flush();
  EXPECT_TRUE(first.codes.empty());
  EXPECT_EQ(subject.completed, 1);
}

TEST_F(Dependencies, keep_a_notice_whose_subject_is_being_told)
{
  subject.addDependent(&first);
  first.then = [&](int32_t code) {
    if (code != 1)
      return;
    subject.deferChanged(2);
    table.flush();
    table.flush(&subject);
    EXPECT_THAT(first.codes, ElementsAre(1));
  };
  subject.changed(1);
  table.flush();
  EXPECT_THAT(first.codes, ElementsAre(1, 2));
}

TEST_F(Dependencies, forget_a_notice_set_aside_when_its_subject_goes)
{
  Subject other;
  other.addDependent(&second);
  subject.addDependent(&first);
  first.then = [&](int32_t code) {
    if (code != 1)
      return;
    subject.deferChanged(2);
    other.deferChanged(3);
    second.then = [&](int32_t) { table.removeFromDeferred(&subject); };
    table.flush();
  };
  subject.changed(1);
  table.flush();
  EXPECT_THAT(second.codes, ElementsAre(3));
  EXPECT_THAT(first.codes, ElementsAre(1));
}

TEST_F(Dependencies, wake_for_the_first_notice_and_for_one_that_was_held_back)
{
  static int wakeUps;
  wakeUps = 0;
  table.setWakeUp([] { ++wakeUps; });
  subject.addDependent(&first);
  subject.deferChanged(1);
  subject.deferChanged(2);
  EXPECT_EQ(wakeUps, 1);
  table.flush();
  first.then = [&](int32_t code) {
    if (code != 3)
      return;
    subject.deferChanged(4);
    table.flush();
    EXPECT_EQ(wakeUps, 2);
  };
  subject.changed(3);
  EXPECT_EQ(wakeUps, 3);
}

TEST_F(Dependencies, flush_one_subject_alone)
{
  Subject other;
  subject.addDependent(&first);
  other.addDependent(&second);
  subject.deferChanged(1);
  other.deferChanged(2);
  table.flush(&other);
  EXPECT_TRUE(first.codes.empty());
  EXPECT_THAT(second.codes, ElementsAre(2));
  table.flush();
  EXPECT_THAT(first.codes, ElementsAre(1));
}

TEST_F(Dependencies, let_a_subject_go_while_its_notice_is_delivered)
{
  auto* passing = new Subject;
  passing->addDependent(&first);
  passing->addDependent(&second);
  passing->deferChanged(1);
  passing->deferChanged(2);
  first.then = [&](int32_t) { passing->releaseRef(); };
  table.flush();
  EXPECT_THAT(first.codes, ElementsAre(1));
  EXPECT_TRUE(second.codes.empty());
}

TEST_F(Dependencies, tell_the_first_five_thousand)
{
  std::vector<Ref<Dependent>> crowd;
  for (int i = 0; i < 5001; ++i) {
    crowd.push_back(make<Dependent>());
    subject.addDependent(crowd.back().get());
  }
  subject.changed(1);
  EXPECT_EQ(crowd[4999]->codes.size(), 1u);
  EXPECT_TRUE(crowd[5000]->codes.empty());
}

TEST_F(Dependencies, take_changes_from_threads)
{
  std::atomic<bool> stop{false};
  subject.addDependent(&first);
  std::thread deferring([&] {
    for (int32_t code = 0; code < 2000; ++code)
      subject.deferChanged(code);
    stop = true;
  });
  std::thread coming([&] { // other subjects with dependents that come and go
    Subject own;
    Dependent passing;
    do {
      own.addDependent(&passing);
      own.changed(1);
      table.removeDependent(nullptr, &passing);
    } while (!stop);
    EXPECT_FALSE(passing.codes.empty());
  });
  while (!stop)
    table.flush();
  deferring.join();
  coming.join();
  table.flush();
  EXPECT_EQ(first.codes.size(), 2000u);
  EXPECT_TRUE(std::is_sorted(first.codes.begin(), first.codes.end()));
}

TEST_F(Dependencies, reach_dependents_that_are_only_interfaces)
{
  FPlugDependencies plugs;
  PlugDependent plug;
  plugs.addDependent(&subject, &plug);
  EXPECT_TRUE(table.changed(&subject, 1));
  subject.deferChanged(2);
  subject.deferChanged(2);
  table.flush();
  EXPECT_THAT(plug.codes, ElementsAre(1, 2));
  EXPECT_EQ(subject.completed, 1);

  plugs.deferChanged(&subject, 3);
  EXPECT_EQ(subject.refCount(), 2);
  table.flush();
  EXPECT_EQ(subject.refCount(), 1);
  plugs.deferChanged(&subject, 4);
  plugs.removeDependent(&subject, &plug);
  EXPECT_EQ(subject.refCount(), 1);
  table.flush();
  EXPECT_THAT(plug.codes, ElementsAre(1, 2, 3));
}
