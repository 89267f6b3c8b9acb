#include "ui/application.h"
#include "ui/value_helpers.h"
#include "ui/values/alias_value.h"
#include "ui/values/float_value.h"
#include "ui/values/int_value.h"
#include "ui/values/value_linker.h"

using namespace orbi;

namespace {

class Application final : public UApplication {
public:
  Application() : UApplication("Test") {}
  void startup() override {}
};

class Proxies : public testing::Test {
protected:
  Application application; // with the table of dependents
  Listener dependent, target;
  Ref<UIntValue> source = make<UIntValue>(5, 0, 10);
  Ref<UAliasValue> proxy = make<UAliasValue>();

  void SetUp() override
  {
    source->setTarget(&target, 7);
    proxy->addDependent(&dependent);
  }
};

} // namespace

TEST_F(Proxies, proxy_is_its_source_for_those_who_see_it)
{
  EXPECT_EQ(proxy->getTag(), -1);
  proxy->setSource(source.get());
  EXPECT_EQ(dependent.flushed(), Codes{1});
  EXPECT_EQ(proxy->getTag(), 7);
  EXPECT_EQ(proxy->getTag2(), 7);
  proxy->setText("2*");
  proxy->setNormalizedEx(0.8f, true);
  EXPECT_EQ(source->getInt(), 8);
  EXPECT_EQ(target.taken(), (Codes{1, 1}));
  EXPECT_EQ(dependent.flushed(), Codes{1});
  proxy->setEnabled(false);
  proxy->edit(true);
  EXPECT_TRUE(!source->isEnabled() && source->isEditing());
  EXPECT_EQ(textOf(*proxy), "8");
}

TEST_F(Proxies, the_same_source_again_is_told_of_only_with_another_target_or_tag)
{
  proxy->setSource(source.get());
  dependent.flushed();
  proxy->setSource(source.get());
  EXPECT_EQ(dependent.flushed(), Codes{});
  source->setTag(8);
  proxy->setSource(source.get());
  EXPECT_EQ(dependent.flushed(), Codes{1});
  application.setUsesDirectUpdates(true);
  proxy->setSource(nullptr);
  EXPECT_EQ(dependent.taken(), Codes{1});
  EXPECT_EQ(source->refCount(), 1);
  source->setValue(9);
  EXPECT_EQ(dependent.flushed(), Codes{}) << "the former source is nothing to it";
}

TEST_F(Proxies, without_a_source_it_is_a_switch)
{
  proxy->setTarget(&target, 3);
  proxy->setInt(9);
  EXPECT_EQ(textOf(*proxy), "On");
  EXPECT_EQ(proxy->getMaxInt(), 1);
  EXPECT_EQ(target.taken(), Codes{1});
  EXPECT_EQ(dependent.flushed(), Codes{1});
}

TEST_F(Proxies, proxy_never_leads_to_itself)
{
  auto second = make<UValueProxy>(proxy.get());
  EXPECT_FALSE(proxy->setSource(proxy.get()));
  EXPECT_FALSE(proxy->setSource(second.get()));
  EXPECT_TRUE(proxy->setSource(source.get()));
  second->setInt(2);
  EXPECT_EQ(source->getInt(), 2);
}

TEST_F(Proxies, source_and_proxy_may_go_in_either_order)
{
  {
    UIntValue local{3};
    proxy->setSource(&local);
    proxy->setNotify(false);
    proxy->setNotify(true);
  }
  EXPECT_EQ(proxy->source(), nullptr);
  EXPECT_EQ(proxy->getTag(), -1);
  proxy->setSource(source.get());
  proxy->setNotify(false);
  auto copy = Ref<CmObject>::adopt(proxy->clone());
  proxy = nullptr;
  copy = nullptr;
  source->addDependent(&dependent);
  dependent.taken();
  source->setValue(1);
  EXPECT_EQ(dependent.flushed(), Codes{1}) << "silence asked for by the proxy ends with it";
  source->setNotify(false);
  proxy = make<UAliasValue>(source.get());
  proxy->setNotify(false);
  proxy = nullptr;
  EXPECT_FALSE(source->getNotify()) << "it was silent before the proxy asked";
}

TEST_F(Proxies, linker_moves_all_by_the_same_fraction)
{
  UValueLinker linker;
  auto whole = make<UIntValue>(0, 100, 200);
  auto fraction = make<UFloatValue>(0.0f, -1.0f, 1.0f);
  whole->setTarget(&target, 0);
  linker.addValue(whole.get());
  linker.addValue(whole.get());
  EXPECT_EQ(target.taken(), Codes{});
  linker.setMaster(source.get());
  EXPECT_EQ(whole->getInt(), 150);
  EXPECT_EQ(target.taken(), Codes{1});
  source->setValue(10);
  linker.addValue(source.get());
  EXPECT_EQ(target.taken(), Codes{1}) << "the master's target was told of its own value";
  linker.addValue(fraction.get());
  EXPECT_EQ(fraction->getFloat(), 1.0f);
  dependent.flushed();
  target.taken();
  target.then = [&](CmObject*, int32_t) { linker.removeValue(fraction.get()); };
  source->setValue(0);
  dependent.flushed();
  EXPECT_EQ(whole->getInt(), 100);
  EXPECT_EQ(fraction->getFloat(), 1.0f) << "left the list before its turn";
  source->setTarget(nullptr, 0);
  linker.removeValue(source.get());
  whole->setValue(150);
  source->changed(3);
  dependent.flushed();
  EXPECT_EQ(whole->getInt(), 150) << "nothing but a change moves it";
  source = nullptr;
  EXPECT_EQ(linker.master(), nullptr);
  linker.addValue(fraction.get());
  UValue* gone = nullptr;
  {
    UIntValue local{3}; // held by the linker, and goes nevertheless
    linker.addValue(gone = &local);
  }
  EXPECT_FALSE(linker.removeValue(gone));
}
