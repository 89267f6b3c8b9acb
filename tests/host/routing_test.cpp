#include "shared/host_rig.h"

#include <gtest/gtest.h>

using namespace orbi;

namespace {

class Routing : public testing::Test, protected HostRig {
protected:
  Routing() { plugin->outputFlags[0] = 0; }
  std::vector<int32_t> routes()
  {
    std::vector<int32_t> all;
    for (int32_t output = 0; output < bridge->outputs().outputCount(); ++output)
      all.push_back(bridge->outputs().at(output));
    return all;
  }
  std::string activeOutputs()
  {
    std::string all;
    for (int32_t output = 0; output < device->outputCount(); ++output)
      all += device->isOutputActive(output) ? '1' : '0';
    return all;
  }
};

const std::string group = "OrbPlugRouting\\probe_plugin\\Probe 0";

} // namespace

TEST_F(Routing, by_default_everything_goes_to_the_first_pair)
{
  plugin->numOutputs = 7;
  for (int stereo : {0, 3, 4, 6}) // 4 is the second of 3 and counts for nothing, 6 is alone
    plugin->outputFlags[stereo] = orbOutputStereo;
  build();
  EXPECT_EQ(routes(), (std::vector<int32_t>{0, 1, 0, 0, 1, 0, 0}));
  bridge->outputs().set(2, 9);
  bridge->outputs().set(4, 6);
  bridge->outputs().set(7, 1);
  bridge->outputs().set(-1, 1);
  EXPECT_TRUE(bridge->outputs().isUsed(9));
  bridge->outputs().clamp(8);
  EXPECT_EQ(routes(), (std::vector<int32_t>{0, 1, 0, 0, 6, 0, 0}));
  bridge->outputs().reset();
  EXPECT_EQ(routes(), (std::vector<int32_t>{0, 1, 0, 0, 1, 0, 0}));
}

TEST_F(Routing, stored_routes_come_back_for_their_driver_and_missing_or_mad_ones_are_defaults)
{
  plugin->numOutputs = 6;
  driver->outputs = 8;
  const std::pair<const char*, int64_t> stored[] = {
      {"Port0", 7}, {"Port1", 8}, {"Port2", -4}, {"Port3", 1LL << 40}, {"Port5", 2}};
  for (auto [key, place] : stored)
    settings.getGroup(group.c_str())->setInt(key, place);
  ASSERT_TRUE(start());
  bridge->loadRouting();
  EXPECT_EQ(routes(), (std::vector<int32_t>{7, 0, 0, 0, 0, 2}));
  EXPECT_EQ(activeOutputs(), "11110011");
  EXPECT_TRUE(device->isRunning());
  bridge->outputs().set(4, 5);
  bridge->saveRouting();
  bridge->outputs().reset();
  bridge->loadRouting();
  EXPECT_EQ(routes(), (std::vector<int32_t>{7, 0, 0, 0, 5, 2}));
  device->selectDriver(1);
  bridge->loadRouting();
  EXPECT_EQ(routes(), (std::vector<int32_t>(6, 0)));
  driver->failing = ProbeDriver::atInit; // it will be there again next time
  EXPECT_FALSE(device->selectDriver(0));
  bridge->saveSettings();
  EXPECT_EQ(settings.getGroup(group.c_str())->getInt("Port0"), 7);
}

TEST_F(Routing, a_pair_is_on_exactly_when_one_of_its_outputs_is_used)
{
  driver->outputs = 5;
  ASSERT_TRUE(start());
  const struct {
    int32_t first, second;
    const char* active;
  } cases[] = {{0, 0, "11000"}, {1, 1, "11000"}, {2, 2, "00110"},  {3, 3, "00110"},
               {4, 4, "00001"}, {1, 4, "11001"}, {128, 5, "00000"}};
  for (const auto& example : cases) {
    bridge->outputs().set(0, example.first);
    bridge->outputs().set(1, example.second);
    bridge->applyRouting();
    EXPECT_EQ(activeOutputs(), example.active);
  }
  device->stop();
  bridge->applyRouting();
  EXPECT_FALSE(device->isRunning()); // one that rests goes on resting
}
