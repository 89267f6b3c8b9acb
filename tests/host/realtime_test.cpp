#include "host/block_statistics.h"
#include "shared/host_rig.h"
#include "shared/realtime_watch.h"

#include <gtest/gtest.h>

using namespace orbi;

namespace {

Song busySong()
{
  static constexpr uint8_t sysex[] = {0xF0, 0x41, 0x10, 0xF7};
  Song song;
  song.sysex.assign(std::begin(sysex), std::end(sysex));
  for (int i = 0; i < 4000; ++i) {
    double seconds = i * 0.0005;
    song.events.push_back({seconds, {uint8_t(i % 3 ? 0x90 : 0x80), uint8_t(i % 128), 90}, 3, 0, 0});
    if (i % 50 == 0)
      song.events.push_back({seconds, {}, 0, 0, 4});
  }
  song.seconds = 2.0;
  return song;
}

/// More at once than the pool has events.
Song crowdedSong()
{
  Song song;
  for (uint32_t i = 0; i < 2 * PEventPool::capacity; ++i)
    song.events.push_back({0.0, {uint8_t(0x90 | i / 128 % 16), uint8_t(i % 128), 90}, 3, 0, 0});
  return song;
}

class Realtime : public testing::Test, protected HostRig {
protected:
  void SetUp() override
  {
    plugin->numOutputs = 6;
    driver->outputs = 4;
    for (int output : {0, 1, 2, 3})
      driver->type[output] = 16 + output; // int 16, int 24, int 32, float
    driver->outputReadyAnswer = loomOk;
    buildWithPlayer();
    statistics = std::make_unique<BlockStatistics>(*device);
    device->setMeter(statistics.get());
    for (int output = 0; output < 6; ++output)
      bridge->outputs().set(output, output % 4);
  }
  ~Realtime() override { close(); }

  std::unique_ptr<BlockStatistics> statistics;
};

} // namespace

TEST(RealtimeGuard, counts_what_it_is_there_for)
{
  if (!RealtimeWatch::counts)
    GTEST_SKIP() << "a sanitizer stands in the watch's place";
  FLock lock, allowed;
  RealtimeWatch::Allowance allowance(allowed);
  platform::Event event(platform::EventReset::automatic);
  const auto before = RealtimeWatch::counted();
  {
    RealtimeWatch watch;
    std::make_unique<std::string>(100, 'x');
    FGuard outer(lock);
    FGuard inner(allowed);
    event.wait(1);
    std::this_thread::sleep_for(std::chrono::nanoseconds(1));
  }
  const auto spent = RealtimeWatch::counted() - before;
  EXPECT_GE(spent.allocations, 4);
  EXPECT_EQ(spent.locks, 1);
  EXPECT_EQ(spent.allowedLocks, 1);
  EXPECT_GE(spent.waits, 2);
}

TEST_F(Realtime, a_buffer_switch_neither_allocates_nor_locks_nor_waits)
{
  player->play(crowdedSong());
  ASSERT_TRUE(start());
  bridge->applyRouting();
  RealtimeWatch::Allowance inputsLock(*input);
  RealtimeWatch::Allowance poolsLock(PEventPool::instance());
  RealtimeWatch::Counts spent;
  std::thread([&] {
    const auto before = RealtimeWatch::counted();
    for (uint32_t index = 0; index < 2000; ++index) {
      bool isWorkers = index % 8 == 0; // it is woken only
      int reached = plugin->blocks;
      uint64_t lost = device->lostBlocks();
      if (index == 100)
        player->play(busySong());
      {
        RealtimeWatch watch;
        driver->position = {0, index * 64};
        LoomTimeRecord time{};
        if (index & 2)
          driver->callbacks.bufferSwitchTimeInfo(&time, int(index & 1), 1);
        else
          driver->callbacks.bufferSwitch(int(index & 1), isWorkers ? 0 : 1);
      }
      // Blocks that meet the worker at work are lost, on a busy machine all of them.
      if (isWorkers && device->lostBlocks() == lost)
        DriverProbe::waitUntil([&] { return plugin->blocks > reached; });
    }
    spent = RealtimeWatch::counted() - before;
  }).join();
  device->stop(); // the worker's last block is done as well
  EXPECT_EQ(spent.allocations, 0);
  EXPECT_EQ(spent.locks, 0);
  EXPECT_EQ(spent.waits, 0);
  EXPECT_GT(plugin->eventLists, 0);
  if (RealtimeWatch::counts) {
    EXPECT_GT(spent.allowedLocks, 0) << "the input's lock, without which the test sees nothing";
  }
}

TEST_F(Realtime, notes_arrive_whole_while_blocks_run_on_either_thread)
{
  for (int direct : {1, 0}) {
    driver->runs = true;
    driver->direct = direct;
    player->play(busySong());
    ASSERT_TRUE(start() || device->isRunning());
    std::atomic<bool> sending{true};
    std::thread sender([&] {
      for (uint8_t key = 0; sending; key = (key + 1) & 127)
        play({PMidiEvent(0x90, key, 64), PMidiEvent(0x80, key, 0)});
    });
    int begin = plugin->blocks;
    for (int turn = 0; turn < 20; ++turn) {
      bridge->outputs().set(turn % 6, turn % 4);
      host->setTimeBase(48000.0, 60.0 + turn, 4, 4);
      if (turn % 5 == 0)
        bridge->applyRouting();
      int reached = plugin->blocks;
      DriverProbe::waitUntil([&] { return plugin->blocks > reached; });
    }
    sending = false;
    sender.join();
    EXPECT_GE(plugin->blocks, begin + 20);
    EXPECT_GE(player->seconds(), 0.0);
    device->stop();
  }
}
