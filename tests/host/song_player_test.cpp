#include "host/block_statistics.h"
#include "shared/host_rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace orbi;

namespace {

constexpr int32_t frames = 480; // 10 ms at 48000

SongEvent note(double seconds, uint8_t key)
{
  return {seconds, {0x90, key, 100}, 3, 0, 0};
}

class Player : public testing::Test, protected HostRig {
protected:
  Player()
  {
    driver->frames = frames;
    driver->rate = 48000.0;
    plugin->doesNothing = true; // silence, unless a test wants sound
    buildWithPlayer();
  }

  /// Blocks until the run is over or the limit is reached.
  int runBlocks(int limit)
  {
    int count = 0;
    while (count < limit && !player->isOver()) {
      driver->callbacks.bufferSwitch(count & 1, 1);
      ++count;
    }
    return count;
  }
};

} // namespace

TEST_F(Player, events_go_out_in_the_block_in_which_they_fall_due)
{
  plugin->doesNothing = false;
  const uint8_t sysex[] = {0xF0, 0x41, 0xF7};
  Song song;
  song.events = {
      note(0.0, 60), note(0.009, 61), note(0.01, 62), {0.01, {}, 0, 0, 3}, note(0.0399999, 63)};
  song.sysex.assign(sysex, sysex + 3);
  song.seconds = 0.04;
  player->play(song);
  player->stopDriverAtEnd(); // it isn't there yet
  ASSERT_TRUE(start());
  EXPECT_EQ(player->songSeconds(), 0.04);
  const size_t due[] = {2, 2, 0, 1, 0};
  for (size_t i = 0; i < std::size(due); ++i) {
    plugin->eventCount = 0;
    runBlocks(1);
    EXPECT_EQ(eventsSeen().size(), due[i]) << "block " << i;
  }
  EXPECT_DOUBLE_EQ(player->seconds(), 0.05);
  player->play(song); // once more, from the next block on
  runBlocks(1);
  EXPECT_EQ(eventsSeen()[0][1], 60);
  EXPECT_FALSE(player->isOver());
  EXPECT_GT(player->peak(), 2.0f);
}

TEST_F(Player, a_run_ends_when_the_tail_has_been_silent_for_half_a_second)
{
  Song song;
  song.events = {note(0.1, 60)};
  song.seconds = 0.2;
  player->play(song);
  player->endWithSong();
  player->stopDriverAtEnd();
  ASSERT_TRUE(start());
  driver.takeCalls();
  EXPECT_EQ(runBlocks(10000), 20 + 50 - 1); // the block in which the song ends counts
  EXPECT_EQ(driver.takeCalls(), "stop\n");
}

TEST_F(Player, a_tail_without_end_is_cut_after_ten_seconds)
{
  plugin->doesNothing = false;
  Song song;
  song.seconds = 0.2;
  player->play(song);
  player->endWithSong();
  ASSERT_TRUE(start());
  EXPECT_EQ(runBlocks(10000), 20 + 1000);
}

TEST_F(Player, a_limit_ends_the_run_with_or_without_a_song)
{
  player->endAfter(0.095);
  ASSERT_TRUE(start());
  EXPECT_EQ(runBlocks(10000), 10);
  EXPECT_EQ(runBlocks(10), 0);
}

TEST_F(Player, statistics_count_blocks_and_the_gaps_between_them)
{
  BlockStatistics statistics(*device);
  device->setMeter(&statistics);
  ASSERT_TRUE(start());
  for (uint32_t index : {0u, 1u, 2u, 5u, 6u}) { // two are missing
    driver->position.low = index * frames;
    runBlocks(1);
  }
  device->stop();
  std::string json = statistics.json("A \"driver\"\n", 48000.0, frames);
  EXPECT_THAT(json, testing::HasSubstr("\"driver\": \"A \\\"driver\\\" \", \"rate\": 48000, "
                                       "\"frames\": 480, \"blocks\": 5, \"lost\": 2"));
  EXPECT_EQ(json.find('\n'), std::string::npos);
}
