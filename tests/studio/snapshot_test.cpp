#include "studio/parameter_node.h"
#include "studio/parameter_tag_state.h"
#include "studio/snapshot_filter.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace orbi;
using Texts = std::vector<std::string>;

namespace {

/// top with 1 and 2, over left with 3 and right with 4.
struct Snapshot : testing::Test {
  Snapshot()
  {
    top->addChild(left.get());
    top->addChild(right.get());
    for (ParameterNode* node : {top.get(), left.get(), right.get()})
      for (auto& [tag, value] : node->values)
        value.setValue(tag * 10);
  }
  void clear()
  {
    for (ParameterNode* node : {top.get(), left.get(), right.get()})
      for (auto& [tag, value] : node->values)
        value.setValue(0);
  }
  std::vector<int32_t> values()
  {
    return {top->values[1].getValue(), top->values[2].getValue(), left->values[3].getValue(),
            right->values[4].getValue()};
  }
  Ref<ParameterNode> top = make<ParameterNode>("top", std::vector<int32_t>{1, 2});
  Ref<ParameterNode> left = make<ParameterNode>("left", std::vector<int32_t>{3});
  Ref<ParameterNode> right = make<ParameterNode>("right", std::vector<int32_t>{4});
};
using Values = std::vector<int32_t>;

/// Refuses top, takes one parameter of left with another value and all of right.
struct Filter final : PSnapshotFilter {
  bool accepts(const PDeviceNode& node) override { return !(node.getName() == "top"); }
  int32_t countStates(const PDeviceNode& node) override { return node.getName() == "left"; }
  void fillStates(const PDeviceNode&, CmArray& states) override
  {
    states.add(new ParameterTagState(3, 0.75f));
  }
};

} // namespace

TEST_F(Snapshot, brings_back_a_tree_through_a_file)
{
  for (int32_t number = 0; number <= 100; ++number) {
    top->values[2].setValue(number);
    FAttributes stored;
    ASSERT_TRUE(top->storeSnapshot(stored));
    FAttributes read;
    ASSERT_TRUE(readXml(xmlOf(stored), read).complete);
    clear();
    EXPECT_TRUE(top->restoreSnapshot(read));
    EXPECT_EQ(values(), (Values{10, number, 30, 40}));
  }

  FAttributes chosen;
  Filter filter;
  ASSERT_TRUE(top->storeSnapshot(chosen, &filter));
  clear();
  EXPECT_TRUE(top->restoreSnapshot(chosen));
  EXPECT_EQ(values(), (Values{0, 0, 75, 40}));
  FAttributes nothing;
  EXPECT_FALSE(make<PDeviceNode>("plain")->storeSnapshot(nothing));
  EXPECT_TRUE(nothing.isEmpty());
}

TEST_F(Snapshot, finds_its_nodes_by_place_then_name_then_class)
{
  FAttributes stored;
  top->storeSnapshot(stored);
  top->removeChild(left.get()); // to another place
  top->addChild(left.get());
  clear();
  EXPECT_TRUE(top->restoreSnapshot(stored));
  EXPECT_EQ(values(), (Values{10, 20, 30, 40}));

  stored.removeAll();
  top->storeSnapshot(stored);
  left->setName("renamed"); // its class is left still
  clear();
  EXPECT_TRUE(top->restoreSnapshot(stored));
  EXPECT_EQ(values(), (Values{10, 20, 30, 40}));

  top->removeChild(right.get()); // the others are restored all the same
  clear();
  EXPECT_FALSE(top->restoreSnapshot(stored));
  EXPECT_EQ(values(), (Values{10, 20, 0, 0}));
}

TEST_F(Snapshot, stops_at_what_is_no_fraction_of_a_parameter)
{
  const std::pair<int64_t, double> entries[] = {
      {2, 1.5},  {2, -0.1}, {2, std::nan("")},      {2, 1e300},
      {-1, 0.5}, {9, 0.5},  {int64_t{1} << 40, 0.5}};
  for (auto [tag, fraction] : entries) {
    clear();
    FAttributes snapshot;
    for (auto [someTag, someFraction] :
         {std::pair<int64_t, double>(1, 0.5), {tag, fraction}, {1, 1}}) {
      snapshot.appendInt("Parameter Tags", someTag);
      snapshot.appendDouble("Parameter Values", someFraction);
    }
    EXPECT_FALSE(top->restoreSnapshot(snapshot)) << tag << " " << fraction;
    EXPECT_EQ(values(), (Values{50, 0, 0, 0}));
  }
  FAttributes wrong;
  wrong.appendString("Parameter Tags", "1");
  wrong.appendDouble("Parameter Values", 0.5);
  EXPECT_FALSE(top->restoreSnapshot(wrong));
  wrong.removeAll();
  wrong.setInt("SubSnapshots", 1);
  EXPECT_FALSE(top->restoreSnapshot(wrong));
  wrong.removeAll();
  wrong.appendObject("SubSnapshots", make<FAttributes>().get(), false);
  EXPECT_FALSE(top->restoreSnapshot(wrong));
}
