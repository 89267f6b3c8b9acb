#include "foundation/plug_dependencies.h"
#include "ui/value_helpers.h"
#include "ui/values/int_value.h"
#include "ui/values/string_value.h"

using namespace orbi;

namespace {

/// An outside object that is a value's target and may listen to its edits.
class Outside final : public IDependent, public IEditListener {
public:
  explicit Outside(bool listens) : listens_(listens) {}
  CmResult queryInterface(const FUID& id, void** out) override
  {
    const bool known = listens_ && id == IEditListener::interfaceId;
    *out = known ? static_cast<IEditListener*>(this) : nullptr;
    references += known;
    return known ? resultOk : resultNoInterface;
  }
  int32_t addRef() override { return ++references; }
  int32_t release() override { return --references; }
  void update(FUnknown*, int32_t) override { log += "update "; }
  void onBeginEdit(IValue*) override { log += "begin "; }
  void onEndEdit(IValue*) override { log += "end "; }

  std::string log;
  int32_t references = 0;

private:
  bool listens_;
};

class Hooked final : public UIntValue {
public:
  using UIntValue::UIntValue;
  void onChanged() override { ++hooks; }
  int hooks = 0;
};

class Values : public testing::Test {
protected:
  FDependencies dependencies;
  Listener dependent, target;
  Hooked value{5, 0, 10};

  void SetUp() override
  {
    value.addDependent(&dependent);
    value.setTarget(&target, 7);
  }
};

} // namespace

TEST_F(Values, target_hears_at_once_of_the_interface_alone_and_dependents_once_a_pass)
{
  value.setValue(6);
  EXPECT_EQ(target.taken(), Codes{});
  value.setInt(7);
  value.setNormalizedEx(0.3f, false);
  EXPECT_EQ(target.taken(), Codes{1});
  EXPECT_EQ(dependent.taken(), Codes{});
  EXPECT_EQ(dependent.flushed(), Codes{1});
  value.setInt(3);
  EXPECT_EQ(dependent.flushed(), Codes{}) << "nothing changed";
  EXPECT_EQ(target.taken(), Codes{1});
}

TEST_F(Values, change_made_by_a_dependent_is_announced)
{
  dependent.then = [&](CmObject*, int32_t code) {
    if (code == UValue::changeNotice && value.getValue() < 8)
      value.setValue(value.getValue() + 1);
  };
  value.setValue(6);
  EXPECT_EQ(dependent.flushed(), (Codes{1, 1, 1}));
}

TEST_F(Values, silence_is_not_made_up_for_and_immediate_values_do_not_wait)
{
  value.setNotify(false);
  value.setValue(6);
  value.setNotify(true);
  EXPECT_EQ(dependent.flushed(), Codes{});
  value.setImmediate(true);
  value.setValue(7);
  EXPECT_EQ(dependent.taken(), Codes{1});
  CmString text;
  value.getStringForValue(2, text);
  EXPECT_EQ(text, "2");
  value.getStringForNormalized(1, text);
  EXPECT_EQ(text, "10");
  EXPECT_EQ(value.getValue(), 7);
  EXPECT_EQ(dependent.taken(), Codes{});
}

TEST_F(Values, value_speaks_again_after_its_notice_went_with_the_last_dependent)
{
  value.setValue(6);
  value.removeDependent(&dependent);
  value.setValue(5);
  EXPECT_EQ(value.hooks, 1) << "nobody to be told";
  value.addDependent(&dependent);
  value.setValue(7);
  EXPECT_EQ(dependent.flushed(), Codes{1});
  value.setValue(8);
  dependencies.removeDependent(&value, &dependent); // not by way of the value
  value.addDependent(&dependent);
  value.setValue(9);
  EXPECT_EQ(dependent.flushed(), Codes{1});
}

TEST_F(Values, value_that_goes_tells_its_dependents_and_leaves_the_queue)
{
  auto gone = make<UIntValue>(1);
  gone->addDependent(&dependent);
  gone->setValue(2);
  gone->setNotify(false);
  dependent.then = [](CmObject* subject, int32_t) { Ref<CmObject>::share(subject); };
  gone = nullptr;
  EXPECT_EQ(dependent.taken(), Codes{2});
  EXPECT_EQ(dependent.flushed(), Codes{});
}

TEST_F(Values, value_may_be_released_by_whom_it_tells)
{
  for (bool byTarget : {true, false}) {
    auto doomed = make<UIntValue>(1);
    Listener killer;
    killer.then = [&](CmObject*, int32_t) { doomed = nullptr; };
    doomed->setImmediate(true);
    if (byTarget)
      doomed->setTarget(&killer, 0);
    else
      doomed->addDependent(&killer);
    doomed->setInt(2);
    EXPECT_FALSE(doomed);
  }
}

TEST(ValuesAlone, work_before_and_after_the_table_of_dependents)
{
  Hooked value{1};
  Listener dependent;
  value.setValue(2);
  {
    FDependencies dependencies;
    value.addDependent(&dependent);
    value.setValue(3);
  }
  value.setValue(4);
  EXPECT_EQ(value.hooks, 2);
  FDependencies dependencies;
  value.addDependent(&dependent);
  value.setValue(5);
  EXPECT_EQ(dependent.flushed(), Codes{1});
}

TEST_F(Values, edits_notify_the_target_as_the_flags_say)
{
  value.edit(true);
  value.edit(false);
  EXPECT_EQ(target.taken(), Codes{});
  value.setFlag(1, true);
  value.edit(true);
  EXPECT_TRUE(value.isEditing());
  EXPECT_EQ(target.taken(), Codes{1});
  value.edit(false);
  EXPECT_EQ(target.taken(), Codes{}) << "an integer was set for good by its last step";
  value.setType(UValue::floatType);
  value.edit(false);
  EXPECT_EQ(target.taken(), Codes{1});
  value.setNotifyOnEdit(false);
  value.setNotifyAtEnd(true);
  value.setEditMessages(true);
  value.edit(false);
  EXPECT_EQ(target.taken(), Codes{1});
  EXPECT_EQ(target.message, "EndEdit");
}

TEST_F(Values, outside_object_hears_edits_when_it_listens_and_is_not_told_twice)
{
  for (bool listens : {true, false}) {
    Outside outside(listens);
    value.setTargetObject(&outside, 3);
    value.setNotifyOnEdit(true);
    value.setType(UValue::floatType);
    value.edit(true);
    value.setInt(listens ? 1 : 2);
    value.edit(false);
    EXPECT_EQ(outside.log, listens ? "begin update end " : "update update update ");
    EXPECT_EQ(outside.references, 0);
    EXPECT_EQ(value.getTag(), 3);
    EXPECT_EQ(value.getTag2(), 3);
    auto copy = Ref<CmObject>::adopt(value.clone()); // shares the adapter
    value.setTarget(&target, 0);
    value.edit(true);
    EXPECT_EQ(target.message, "") << "it was the other one that listened";
    static_cast<UValue&>(*copy).setInt(4);
    EXPECT_TRUE(outside.log.ends_with("update "));
  }
}

TEST_F(Values, reset_goes_to_the_default_within_an_edit)
{
  UIntDefValue reset{4, 0, 10};
  reset.setTarget(&target, 0);
  reset.setValue(9);
  reset.setNotifyOnEdit(true);
  EXPECT_TRUE(reset.resetToDefault());
  EXPECT_EQ(reset.getInt(), 4);
  EXPECT_EQ(target.taken(), (Codes{1, 1}));
  EXPECT_TRUE(reset.resetToDefault());
  EXPECT_EQ(target.taken(), Codes{});
  EXPECT_FALSE(value.resetToDefault());
}

TEST_F(Values, text_is_cut_at_127_bytes_but_not_within_a_character)
{
  struct Case {
    std::string given, shown;
  };
  const std::string run(126, 'a');
  for (const Case& c : {Case{run + "bcd", run + "b"},
                        {run + "\xC3\xA9x", run},
                        {run.substr(1) + "\xC3\xA9x", run.substr(1) + "\xC3\xA9"},
                        {std::string(200, '\xA0'), std::string(127, '\xA0')}}) {
    UStringValue text{c.given};
    EXPECT_EQ(textOf(text), c.shown);
    uint32_t size = 0;
    EXPECT_EQ(text.getTextBuffer(nullptr, &size), c.given.size() + 1);
    std::string whole(size, 'x');
    text.getTextBuffer(whole.data(), nullptr);
    EXPECT_EQ(whole.c_str(), c.given);
    size = 3;
    char small[4] = {'x', 'x', 'x', 'x'};
    text.getTextBuffer(small, &size);
    EXPECT_EQ(std::string(small, 4), c.given.substr(0, 2) + std::string("\0x", 2));
  }
}
