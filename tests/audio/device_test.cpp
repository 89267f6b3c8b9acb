#include "shared/probes.h"

#include <cstring>
#include <gtest/gtest.h>

#include <thread>

using namespace orbi;

namespace {

/// Fills output i with i + level and notes what it hears.
class Listener final : public LoomDeviceListener {
public:
  void formatChanged(int32_t frames, double rate) override
  {
    heard += "format " + std::to_string(frames) + " " + std::to_string(int(rate)) + "\n";
  }
  void driverReset(bool failed) override { heard += failed ? "reset failed\n" : "reset\n"; }
  void started() override { heard += "started\n"; }
  void stopped() override { heard += "stopped\n"; }
  void process() override
  {
    inside = true;
    while (hold) {}
    for (int32_t output = 0; output < loomMaxChannels; ++output)
      if (float* samples = LoomDevice::instance()->outputBuffer(output))
        std::fill_n(samples, LoomDevice::instance()->blockFrames(), float(output) + level);
    inside = false;
    ++blocks;
  }
  std::string take() { return std::exchange(heard, {}); }

  std::string heard;
  float level = 0.25f;
  std::atomic<bool> hold{false};
  std::atomic<bool> inside{false};
  std::atomic<int> blocks{0};
};

class Device : public testing::Test {
protected:
  bool openAndStart() { return device.selectDriver(0) && device.start(); }
  float sampleOf(int output, int half)
  {
    return static_cast<const float*>(driver->buffer(output, half))[driver->frames - 1];
  }

  DriverProbe driver;
  Listener listener;
  LoomDevice device{&listener, DriverProbe::list()};
};

} // namespace

TEST_F(Device, opens_starts_and_stops_in_order)
{
  ASSERT_TRUE(openAndStart());
  EXPECT_EQ(driver.takeCalls(), "create\ninit\ngetChannels\ngetBufferSize\ngetSampleRate\n"
                                "createBuffers 2 64\nstart\n");
  EXPECT_EQ(listener.take(), "stopped\nformat 64 48000\nstarted\n"); // selecting closes first
  device.stop();
  EXPECT_EQ(driver.takeCalls(), "stop\ndisposeBuffers\n");
  EXPECT_EQ(listener.take(), "stopped\n");
  EXPECT_EQ(device.outputBuffer(0), nullptr);
  device.stop(); // the listener hears of every stop, also of one without a start
  EXPECT_EQ(driver.takeCalls(), "");
  EXPECT_EQ(listener.take(), "stopped\n");
}

TEST_F(Device, a_step_that_fails_ends_opening_or_starting)
{
  const struct {
    ProbeDriver::Step step;
    bool opens;
    std::string calls;
  } cases[] = {
      {ProbeDriver::atInit, false, "create\ninit\n"},
      {ProbeDriver::atChannels, false, "create\ninit\ngetChannels\nrelease\n"},
      {ProbeDriver::atBufferSize, false, "create\ninit\ngetChannels\ngetBufferSize\nrelease\n"},
      {ProbeDriver::atCreateBuffers, true,
       "create\ninit\ngetChannels\ngetBufferSize\ngetSampleRate\ncreateBuffers 2 64\n"},
      {ProbeDriver::atStart, true,
       "create\ninit\ngetChannels\ngetBufferSize\ngetSampleRate\ncreateBuffers 2 64\nstart\n"},
  };
  for (int index = 0; const auto& failure : cases) {
    index = index % 3 + 1;
    driver[index].failing = failure.step;
    EXPECT_EQ(device.selectDriver(index), failure.opens) << failure.step;
    EXPECT_FALSE(device.start()) << failure.step;
    EXPECT_EQ(device.errorMessage(), "step " + std::to_string(failure.step) + " fails");
    EXPECT_FALSE(device.isRunning());
    EXPECT_EQ(driver.takeCalls(index), failure.calls);
    EXPECT_TRUE(device.selectDriver(0)); // the way back is open each time
    driver.takeCalls(index);
  }
}

TEST_F(Device, a_block_size_that_no_buffer_can_have_is_refused)
{
  for (int frames : {0, -64, 1 << 30}) {
    driver->frames = frames;
    EXPECT_FALSE(device.selectDriver(0)) << frames;
    EXPECT_NE(std::string(device.errorMessage()).find(std::to_string(frames)), std::string::npos);
  }
}

TEST_F(Device, a_rate_of_zero_is_set_once_and_a_negative_one_is_passed_over)
{
  const struct {
    double told, onceSet, taken;
    const char* calls;
  } cases[] = {{96000, 96000, 96000, "getSampleRate\n"},
               {0, 44100, 44100, "getSampleRate\nsetSampleRate 44100\ngetSampleRate\n"},
               {0, 0, 44100, "getSampleRate\nsetSampleRate 44100\ngetSampleRate\n"},
               {0, 32000, 32000, "getSampleRate\nsetSampleRate 44100\ngetSampleRate\n"},
               {-1, 48000, 44100, "getSampleRate\n"}};
  for (int index = 0; const auto& rate : cases) {
    driver[index].rate = rate.told;
    driver[index].rateOnceSet = rate.onceSet;
    ASSERT_TRUE(device.selectDriver(index));
    EXPECT_EQ(device.sampleRate(), rate.taken);
    EXPECT_EQ(driver.takeCalls(index),
              "create\ninit\ngetChannels\ngetBufferSize\n" + std::string(rate.calls));
    index = (index + 1) % 2;
    driver.takeCalls(index);
  }
  driver[1].callbacks = LoomDevice::callbacks();
  listener.take();
  driver[1].callbacks.sampleRateChanged(12345.0);
  EXPECT_EQ(device.sampleRate(), 12345.0);
  EXPECT_EQ(listener.take(), ""); // it is only stored
}

TEST_F(Device, outputs_go_in_pairs_and_an_odd_last_one_is_asked_for_alone)
{
  driver->inputs = 2;
  driver->outputs = 5;
  ASSERT_TRUE(openAndStart());
  EXPECT_EQ(driver->bufferCount, 2); // inputs never, the first pair from the start
  EXPECT_TRUE(device.setOutputActive(4, true));
  EXPECT_TRUE(device.isRunning());
  EXPECT_TRUE(device.isOutputActive(5));
  EXPECT_EQ(driver->bufferCount, 3);
  EXPECT_TRUE(device.setOutputActive(1, false));
  EXPECT_FALSE(device.isOutputActive(0));
  EXPECT_EQ(device.outputBuffer(0), nullptr);
  EXPECT_EQ(driver->bufferCount, 1);
  driver.takeCalls();
  for (int beyond : {-1, 6, 127, 128, 1 << 30})
    EXPECT_TRUE(device.setOutputActive(beyond, true));
  EXPECT_TRUE(device.setOutputActive(4, true)); // is so already
  EXPECT_EQ(driver.takeCalls(), "");
  for (int beyond : {-1, 128, INT32_MIN, INT32_MAX})
    EXPECT_EQ(device.outputBuffer(beyond), nullptr);
  char name[loomNameBytes];
  EXPECT_TRUE(device.outputName(name, 4));
  EXPECT_STREQ(name, "Channel 4");
  EXPECT_FALSE(device.outputName(name, 5));
}

TEST_F(Device, channel_counts_beyond_the_tables_are_not_believed)
{
  driver->outputs = 100000;
  ASSERT_TRUE(openAndStart());
  EXPECT_EQ(device.outputCount(), loomMaxChannels);
  EXPECT_TRUE(device.setOutputActive(127, true));
  driver.switchBuffers(0);
  EXPECT_EQ(sampleOf(127, 0), 127.25f);
}

TEST_F(Device, a_switch_fills_the_half_that_the_driver_names)
{
  driver->outputReadyAnswer = loomOk;
  ASSERT_TRUE(openAndStart());
  EXPECT_EQ(driver->outputReadyCalls, 1); // the question
  driver.switchBuffers(1);
  EXPECT_EQ(sampleOf(0, 1), 0.25f);
  EXPECT_EQ(sampleOf(1, 1), 1.25f);
  EXPECT_EQ(sampleOf(0, 0), 0.0f);
  driver.switchBuffers(0);
  EXPECT_EQ(sampleOf(1, 0), 1.25f);
  EXPECT_EQ(driver->outputReadyCalls, 3);
}

TEST_F(Device, a_driver_that_does_not_know_output_ready_is_asked_once)
{
  ASSERT_TRUE(openAndStart());
  driver.switchBuffers(0);
  EXPECT_EQ(driver->outputReadyCalls, 1);
}

TEST_F(Device, samples_take_the_type_of_their_channel_and_unknown_types_are_silent)
{
  driver->type[0] = 11; // packed to 24 bits in spite of its container
  driver->type[1] = 20;
  listener.level = 0.5f;
  ASSERT_TRUE(openAndStart());
  driver.switchBuffers(0);
  const uint8_t expected[] = {0x3F, 0xFF, 0xFF, 0x3F, 0xFF, 0xFF};
  EXPECT_EQ(std::memcmp(driver->buffer(0, 0), expected, sizeof expected), 0);
  EXPECT_EQ(sampleOf(0, 0), 0.0f); // the packed ones end in the first part
  EXPECT_EQ(sampleOf(1, 0), 0.0f);
}

TEST_F(Device, position_and_time_come_from_either_kind_of_switch)
{
  ASSERT_TRUE(openAndStart());
  driver->position = {2, 5};
  driver->timeStamp = {1, 0xFFFFFFFF};
  driver.switchBuffers(0);
  EXPECT_EQ(device.samplePosition(), 2 * 4294967296.0 + 5);
  EXPECT_EQ(device.timeStamp(), 4294967296.0 + 4294967295.0);
  driver->positionAnswer = loomNotPresent;
  driver.switchBuffers(0);
  EXPECT_EQ(device.samplePosition(), 0.0);
  EXPECT_EQ(device.timeStamp(), 0.0);

  LoomTimeRecord time{};
  time.samplePosition = {0, 77};
  time.timeStamp = {0, 99};
  time.further[0] = 42;
  LoomTimeRecord* answer = driver->callbacks.bufferSwitchTimeInfo(&time, 1, 1);
  ASSERT_NE(answer, &time);
  EXPECT_EQ(std::memcmp(answer, &time, loomTimeRecordBytes), 0);
  EXPECT_EQ(device.samplePosition(), 77.0);
  EXPECT_EQ(device.timeStamp(), 99.0);
}

TEST_F(Device, a_switch_inside_a_switch_is_dropped_and_the_next_one_is_not)
{
  driver->outputReadyAnswer = loomOk;
  driver->nested = true;
  ASSERT_TRUE(openAndStart());
  for (int block = 1; block <= 3; ++block) {
    driver.switchBuffers(0);
    EXPECT_EQ(listener.blocks, block);
    EXPECT_EQ(sampleOf(0, 1), 0.0f);
  }
}

TEST_F(Device, the_worker_fills_what_the_driver_does_not_and_a_block_too_early_is_lost)
{
  driver->outputReadyAnswer = loomOk;
  ASSERT_TRUE(openAndStart());
  listener.hold = true;
  driver.switchBuffers(0, 0);
  DriverProbe::waitUntil([&] { return listener.inside.load(); });
  driver.switchBuffers(0, 0);
  driver.switchBuffers(0, 2); // only 1 is direct
  driver.switchBuffers(0, 1); // two threads must not fill at once
  EXPECT_EQ(device.lostBlocks(), 3u);
  listener.hold = false;
  device.stop(); // waits for the block
  EXPECT_EQ(listener.blocks, 1);
}

TEST_F(Device, the_worker_works_again_after_a_stop_that_met_it_at_work)
{
  ASSERT_TRUE(device.selectDriver(0));
  for (int round = 0; round < 50; ++round) {
    ASSERT_TRUE(device.start());
    int before = listener.blocks;
    driver.switchBuffers(0, 0);
    DriverProbe::waitUntil([&] { return listener.blocks > before; });
    driver.switchBuffers(0, 0); // the stop comes while this one is on its way
    device.stop();
  }
  EXPECT_LE(device.lostBlocks(), 50u);
}

TEST_F(Device, a_worker_that_does_not_return_is_left_behind_and_finds_nothing_freed)
{
  ASSERT_TRUE(openAndStart());
  listener.hold = true;
  driver.switchBuffers(0, 0);
  DriverProbe::waitUntil([&] { return listener.inside.load(); });
  device.stop();
  EXPECT_EQ(driver.takeCalls().find("disposeBuffers"), std::string::npos); // its buffers stay
  EXPECT_TRUE(device.isHung());
  listener.hold = false;
  DriverProbe::waitUntil([&] { return listener.blocks == 1; });
}

TEST_F(Device, a_switch_while_there_are_no_buffers_is_dropped)
{
  ASSERT_TRUE(openAndStart());
  device.stop();
  for (int direct : {0, 1})
    driver.switchBuffers(0, direct);
  EXPECT_EQ(listener.blocks, 0);
}

TEST_F(Device, a_direct_block_that_does_not_return_takes_nothing_with_it)
{
  ASSERT_TRUE(openAndStart());
  listener.hold = true;
  std::thread thread([&] { driver.switchBuffers(0, 1); });
  DriverProbe::waitUntil([&] { return listener.inside.load(); });
  driver.takeCalls();
  device.stop();
  EXPECT_TRUE(device.isHung());
  EXPECT_EQ(driver.takeCalls(), "stop\n"); // its buffers stay
  listener.hold = false;
  thread.join();
}

TEST_F(Device, a_driver_that_did_not_stop_is_released_in_order_or_not_at_all)
{
  for (int answer : {int(loomOk), int(loomBadMode)}) {
    driver->failing = ProbeDriver::noStep;
    ASSERT_TRUE(openAndStart());
    driver->failing = ProbeDriver::atStop;
    driver->disposeAnswer = answer;
    driver.takeCalls();
    bool isOver = answer == loomOk; // its last block came back in the meantime
    EXPECT_EQ(device.selectDriver(1), isOver);
    EXPECT_EQ(device.isHung(), !isOver);
    EXPECT_EQ(driver.takeCalls(),
              isOver ? "stop\ndisposeBuffers\nrelease\n" : "stop\ndisposeBuffers\n");
    EXPECT_NE(driver->bufferCount > 0, isOver);
  }
}

TEST_F(Device, a_reset_asked_for_on_any_thread_is_carried_out_by_the_check)
{
  ASSERT_TRUE(openAndStart());
  device.checkReset();
  EXPECT_EQ(listener.take(), "stopped\nformat 64 48000\nstarted\n"); // nobody asked
  driver->frames = 128;
  static std::atomic<int> wakeUps;
  wakeUps = 0;
  device.setWakeUp([] { ++wakeUps; });
  std::thread([this] { EXPECT_EQ(driver->callbacks.message(loomResetRequest, 0), 1); }).join();
  EXPECT_EQ(wakeUps, 1);
  EXPECT_EQ(listener.take(), "");
  device.checkReset();
  EXPECT_EQ(listener.take(), "stopped\nstopped\nformat 128 48000\nreset\nstarted\n");
  EXPECT_TRUE(device.isRunning());
  device.checkReset();
  EXPECT_EQ(listener.take(), "");

  for (int index = 0; index < DriverProbe::count; ++index)
    driver[index].makes = false;
  EXPECT_FALSE(device.reset());
  EXPECT_EQ(listener.take(), "stopped\nstopped\nreset failed\n");
  EXPECT_FALSE(device.start());
}

TEST_F(Device, messages_are_answered_by_their_selector)
{
  auto message = LoomDevice::callbacks().message;
  for (int32_t selector = -1; selector < 20; ++selector) {
    bool known = selector == 2 || selector == 3 || selector == 7;
    EXPECT_EQ(message(loomSelectorSupported, selector), known ? 1 : 0);
  }
  const int32_t answers[] = {0, 0, 2, 1, 0, 0, 0, 1, 0};
  for (int32_t selector = 2; selector < 9; ++selector)
    EXPECT_EQ(message(selector, 0), answers[selector]) << selector;
}

TEST_F(Device, selecting_falls_back_to_the_former_driver_and_then_to_the_first_that_can_be_made)
{
  EXPECT_FALSE(device.selectDriver(-1));
  EXPECT_FALSE(device.selectDriver(4));
  ASSERT_TRUE(device.selectDriver(2) && device.start());
  driver.takeCalls(2);
  EXPECT_TRUE(device.selectDriver(2)); // nothing happens
  EXPECT_EQ(driver.takeCalls(2), "");
  driver[3].makes = false;
  EXPECT_TRUE(device.selectDriver(3));
  EXPECT_EQ(device.selectedIndex(), 2);
  EXPECT_TRUE(device.isRunning());
  driver[2].makes = driver[0].makes = false;
  EXPECT_TRUE(device.selectDriver(3));
  EXPECT_EQ(device.selectedIndex(), 1);
  char name[LoomDriverList::nameLimit];
  EXPECT_TRUE(device.driverName(name));
  EXPECT_STREQ(name, "Probe 1");
  EXPECT_EQ(device.findDriver("Probe 3"), 3);
  EXPECT_EQ(device.findDriver("Probe"), -1);
  driver[1].makes = false;
  EXPECT_FALSE(device.selectDriver(0));
  EXPECT_EQ(device.selectedIndex(), -1);
}

TEST_F(Device, the_control_panel_is_shown_when_the_driver_says_so)
{
  EXPECT_FALSE(device.showControlPanel());
  ASSERT_TRUE(device.selectDriver(0));
  EXPECT_TRUE(device.showControlPanel());
}

TEST(DeviceAlone, opens_the_default_driver_or_the_first_when_told_to)
{
  DriverProbe driver;
  Listener listener;
  std::vector<platform::DriverRegistration> all = {DriverProbe::registration(0),
                                                   DriverProbe::registration(1)};
  {
    LoomDevice device(&listener, std::make_unique<LoomDriverList>(all),
                      LoomDevice::Open::defaultDriver);
    EXPECT_EQ(device.selectedIndex(), 0);
    EXPECT_TRUE(device.isOpened());
  }
  all[1].description = defaultDriverName;
  LoomDevice device(&listener, std::make_unique<LoomDriverList>(all),
                    LoomDevice::Open::defaultDriver);
  EXPECT_EQ(device.selectedIndex(), 1);
}

TEST_F(Device, blocks_on_every_road_run_beside_the_main_thread)
{
  driver->runs = true;
  driver->outputs = 4;
  for (bool timeInfo : {false, true})
    for (int direct : {1, 0}) {
      driver->timeInfo = timeInfo;
      driver->direct = direct;
      ASSERT_TRUE(openAndStart());
      int before = listener.blocks;
      for (int turn = 0; turn < 20; ++turn) {
        device.setOutputActive(2, turn & 1);
        driver->callbacks.message(loomResetRequest, 0);
        device.checkReset();
        EXPECT_GE(device.samplePosition() + device.timeStamp() + device.sampleRate(), 0.0);
      }
      DriverProbe::waitUntil([&] { return listener.blocks >= before + 10; });
      device.stop();
    }
}
