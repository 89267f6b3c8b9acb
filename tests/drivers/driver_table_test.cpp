#include "common/steady_clock.h"
#include "drivers/test_host.h"
#include "foundation/uid.h"

#include <gtest/gtest.h>

namespace {

TEST(Registration, lists_the_multimedia_driver_first_and_every_class_id_creates_its_driver)
{
  std::vector<orbi::platform::DriverRegistration> drivers = shippedDrivers();
  drivers.push_back(exampleDriver());
  std::vector<std::string> names;
  for (const auto& registered : drivers) {
    TestHost host(registered);
    char name[loomNameBytes];
    host.table().getDriverName(host.driver, name);
    EXPECT_EQ(name, registered.description);
    names.emplace_back(name);

    orbi::FUID id;
    ASSERT_TRUE(id.fromRegistryText(registered.classId));
    void* same = nullptr;
    EXPECT_EQ(host.table().queryInterface(host.driver, id.bytes(), &same), loomOk);
    EXPECT_EQ(same, host.driver);
    EXPECT_EQ(host.table().release(host.driver), 1U);
    const uint8_t unknown[16]{};
    EXPECT_NE(host.table().queryInterface(host.driver, unknown, &same), loomOk);
    EXPECT_EQ(same, nullptr);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"LOOM Multimedia Driver", "LOOM JACK Driver",
                                             "LOOM File Driver", "LOOM Null Driver"}));
}

TEST(Table, refuses_calls_in_the_wrong_order)
{
  TestHost host("file");
  EXPECT_EQ(host.createBuffers({0, 1}, 256), loomBadMode) << "before init";
  EXPECT_EQ(host.outputs(), 0) << "before init";
  ASSERT_TRUE(host.init());
  EXPECT_EQ(host.start(), loomBadMode) << "without buffers";
  EXPECT_EQ(host.stop(), loomOk) << "nothing runs";
  EXPECT_EQ(host.disposeBuffers(), loomBadMode);
  ASSERT_EQ(host.createBuffers({0, 1}, 256), loomOk);
  const std::vector<LoomBufferInfo> first = host.buffers;
  EXPECT_EQ(host.createBuffers({0, 1}, 256), loomBadMode) << "twice";
  EXPECT_EQ(host.start(), loomOk);
  EXPECT_EQ(host.start(), loomBadMode) << "twice";
  EXPECT_EQ(host.disposeBuffers(), loomOk) << "while it runs";
  EXPECT_EQ(host.start(), loomBadMode) << "after dispose";
}

TEST(Table, refuses_channels_and_block_sizes_that_do_not_exist)
{
  TestHost host("file");
  ASSERT_TRUE(host.init());
  const std::vector<std::vector<int>> lists = {{2}, {-1}, {0, 0}, {0, 1, 128}};
  for (const std::vector<int>& channels : lists) {
    EXPECT_EQ(host.createBuffers(channels, 256), loomBadParameter);
    EXPECT_EQ(host.buffers[0].buffers[0], nullptr);
  }
  for (const int frames : {0, -1, 1 << 30})
    EXPECT_EQ(host.createBuffers({0}, frames), loomBadParameter) << frames;
  EXPECT_EQ(host.createBuffers({}, 256), loomOk) << "no channel at all is allowed";
}

TEST(SteadyClock, frames_and_nanoseconds_are_told_for_years)
{
  constexpr uint64_t day = 86400;
  constexpr uint64_t second = 1'000'000'000;
  for (const uint64_t rate : {1000U, 44100U, 48000U, 768000U})
    for (const uint64_t seconds : {uint64_t(0), uint64_t(1), 5 * day, 10000 * day}) {
      const uint64_t frames = seconds * rate + rate / 4;
      EXPECT_EQ(loom::nanosecondsOf(frames, rate), seconds * second + second / 4);
      EXPECT_EQ(loom::framesIn(seconds * second + second / 4, rate), frames);
    }
}

// The drivers of our own and the example, which has its own table.
class AnyDriver : public testing::TestWithParam<bool> {
protected:
  static void play(TestHost& host)
  {
    host.takesTimeInfo = GetParam();
    host.stopAfter = 6;
    ASSERT_TRUE(host.init());
    ASSERT_EQ(host.createBuffers({0, 1}, 64), loomOk);
    ASSERT_EQ(host.start(), loomOk);
    ASSERT_TRUE(host.waitForBlocks(6));
    EXPECT_EQ(host.stop(), loomOk);
    ASSERT_EQ(host.switches.size(), 6U);
    for (size_t i = 0; i < 6; ++i) {
      const Switch& seen = host.switches[i];
      EXPECT_EQ(seen.timeInfo, GetParam());
      EXPECT_EQ(seen.half, int(i % 2));
      EXPECT_GE(seen.position, i * 64);
      EXPECT_EQ(seen.position % 64, 0U);
      EXPECT_GT(seen.timeStamp, i ? host.switches[i - 1].timeStamp : 0);
    }
    EXPECT_EQ(host.resets, 0);
  }
};

INSTANTIATE_TEST_SUITE_P(Switches, AnyDriver, testing::Bool());

TEST_P(AnyDriver, announces_halves_in_turn_by_the_call_that_the_host_takes)
{
  {
    const Variable fast("LOOM_FILE_REALTIME", "0");
    TestHost host("file");
    play(host);
  }
  TestHost host(exampleDriver());
  play(host);
}

} // namespace
