#include "shared/probes.h"

#include <gtest/gtest.h>

using namespace orbi;

namespace {

std::vector<platform::DriverRegistration> named(const std::vector<std::string>& names)
{
  std::vector<platform::DriverRegistration> all;
  for (const std::string& name : names) {
    all.push_back(DriverProbe::registration(int(all.size())));
    all.back().description = name;
    all.back().hasDescription = !name.empty();
  }
  return all;
}

std::string nameOf(const LoomDriverList& list, int32_t index)
{
  char text[LoomDriverList::nameLimit] = {};
  list.name(index, text, sizeof text);
  return text;
}

} // namespace

TEST(DriverList, names_of_32_characters_are_cut_and_missing_ones_are_the_keys)
{
  LoomDriverList list(named({std::string(31, 'a'), std::string(32, 'b'), ""}));
  EXPECT_EQ(nameOf(list, 0), std::string(31, 'a'));
  EXPECT_EQ(nameOf(list, 1), std::string(28, 'b') + "...");
  EXPECT_EQ(nameOf(list, 2), "probe2");
  char text[LoomDriverList::nameLimit];
  EXPECT_EQ(list.name(0, nullptr, 32), -5001);
  EXPECT_EQ(list.name(3, text, 32), -5003);
  char names[2][LoomDriverList::nameLimit];
  EXPECT_EQ(list.names(names, 2), 2);
  EXPECT_EQ(LoomDriverList({}).count(), 0);
}

TEST(DriverList, of_two_drivers_with_one_cut_name_the_first_is_selected)
{
  DriverProbe probe;
  std::string same(40, 'x');
  LoomDriverList list(named({same + "1", same + "2"}));
  EXPECT_TRUE(list.selectByName(nameOf(list, 1).c_str()));
  EXPECT_EQ(list.selectedIndex(), 0);
}

TEST(DriverList, a_failed_choice_is_false_and_makes_the_former_driver_again)
{
  DriverProbe probe;
  auto list = DriverProbe::list();
  ASSERT_TRUE(list->selectByName("Probe 0"));
  probe[1].makes = false;
  EXPECT_FALSE(list->selectByName("Probe 1"));
  EXPECT_EQ(list->selectedIndex(), 0);
  EXPECT_EQ(probe.takeCalls(0), "create\nrelease\ncreate\n");
  EXPECT_FALSE(list->selectByName("Probe"));
  EXPECT_EQ(probe.takeCalls(0), ""); // an unknown name touches nothing
  list.reset();
  EXPECT_EQ(probe.takeCalls(0), "release\n");
  EXPECT_EQ(loom::start(), loomNotPresent);
}

TEST(DriverList, a_server_that_is_no_module_fails_when_it_is_selected_only)
{
  std::vector<platform::DriverRegistration> all = named({"none", "text"});
  all[0].server = "/nowhere/driver.so";
  all[1].server = __FILE__;
  LoomDriverList list(all);
  EXPECT_EQ(list.count(), 2);
  EXPECT_FALSE(list.selectByName("none"));
  EXPECT_FALSE(list.selectByName("text"));
  EXPECT_EQ(list.selectedIndex(), -1);
}

TEST(DriverList, without_a_driver_every_operation_fails_with_defined_outputs)
{
  int32_t inputs = 1, outputs = 2, size[4] = {1, 2, 3, 4};
  EXPECT_EQ(loom::getChannels(&inputs, &outputs), loomNotPresent);
  EXPECT_EQ(inputs + outputs, 0);
  EXPECT_EQ(loom::getBufferSize(&size[0], &size[1], &size[2], &size[3]), loomNotPresent);
  EXPECT_EQ(size[0] + size[1] + size[2] + size[3], 0);
  LoomChannelInfo info{};
  EXPECT_EQ(loom::getChannelInfo(&info), loomNotPresent);
  EXPECT_EQ(info.group, -1);
  EXPECT_STREQ(info.name, "None");
  LoomBufferInfo buffer{0, 0, {&info, &info}};
  EXPECT_EQ(loom::createBuffers(&buffer, 1, 64, nullptr), loomNotPresent);
  EXPECT_EQ(buffer.buffers[0], nullptr);
  EXPECT_EQ(buffer.buffers[1], nullptr);
  LoomDriverInfo driver{};
  EXPECT_EQ(loom::loadDriver(driver), loomNotPresent);
  EXPECT_STREQ(driver.name, "No LOOM Driver");
}
