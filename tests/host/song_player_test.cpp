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

  /// For 0.2 s, which ends the run.
  void playShortSong(std::vector<SongEvent> events)
  {
    Song song;
    song.events = std::move(events);
    song.seconds = 0.2;
    player->play(song);
    player->endWithSong();
  }

  /// What the plug-in gets with the next block.
  std::vector<std::array<int, 3>> nextEvents()
  {
    plugin->eventCount = 0;
    runBlocks(1);
    return eventsSeen();
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
    EXPECT_EQ(nextEvents().size(), due[i]) << "block " << i;
  }
  EXPECT_DOUBLE_EQ(player->seconds(), 0.05);
  player->play(song); // once more, from the next block on
  EXPECT_EQ(nextEvents()[0], (std::array<int, 3>{0x80, 60, 0}));
  EXPECT_FALSE(player->isOver());
  EXPECT_GT(player->peak(), 2.0f);
}

TEST_F(Player, a_song_begins_with_the_ends_of_what_the_former_one_holds)
{
  plugin->doesNothing = false;
  Song former, song;
  former.events = {note(0.0, 60), note(0.0, 61)};
  for (uint8_t pedal : {64, 69})
    former.events.push_back({0.0, {0xB5, pedal, 127}, 3, 0, 0});
  former.events.push_back({0.0, {0x90, 61, 0}, 3, 0, 0}); // ended already
  former.events.push_back({0.0, {0xB5, 69, 0}, 3, 0, 0});
  song.events = {note(0.0, 70)};
  player->play(former);
  ASSERT_TRUE(start());
  EXPECT_EQ(nextEvents().size(), 6u);
  player->play(song);
  EXPECT_EQ(nextEvents(),
            (std::vector<std::array<int, 3>>{{0x80, 60, 0}, {0xB5, 64, 0}, {0x90, 70, 100}}));
  EXPECT_TRUE(nextEvents().empty());
}

TEST_F(Player, what_is_too_much_for_a_block_comes_with_the_next_ones_in_order)
{
  plugin->doesNothing = false;
  constexpr size_t most = SongPlayer::mostEventsInBlock;
  constexpr size_t rest = 7;
  Song former, song;
  std::vector<std::array<int, 3>> expected, seen;
  for (size_t i = 0; i < most + rest; ++i) {
    const auto channel = static_cast<uint8_t>(i / 128), number = static_cast<uint8_t>(i % 128);
    former.events.push_back({0.0, {uint8_t(0x90 | channel), number, 1}, 3, 0, 0});
    song.events.push_back({0.0, {uint8_t(0xB0 | channel), 7, number}, 3, 0, 0});
    expected.push_back({0x80 | channel, number, 0});
  }
  for (const SongEvent& event : song.events)
    expected.push_back({event.bytes[0], event.bytes[1], event.bytes[2]});
  player->play(former);
  ASSERT_TRUE(start());
  for (size_t count : {most, rest})
    EXPECT_EQ(nextEvents().size(), count);
  player->play(song);
  for (size_t count : {most, most, 2 * rest}) {
    for (const auto& event : nextEvents())
      seen.push_back(event);
    EXPECT_EQ(eventsSeen().size(), count);
    device->reset();
  }
  EXPECT_EQ(seen, expected);
}

TEST_F(Player, a_song_goes_on_where_it_was_when_a_reset_changes_the_rate)
{
  playShortSong({note(0.1, 60)});
  ASSERT_TRUE(start());
  runBlocks(5); // 0.05 s
  driver->rate = 96000.0;
  ASSERT_TRUE(device->reset());
  for (int i = 0; i < 10; ++i)
    EXPECT_TRUE(nextEvents().empty()) << i;
  EXPECT_EQ(nextEvents().size(), 1u);
  EXPECT_DOUBLE_EQ(player->seconds(), 0.105);
  runBlocks(19 + 20); // half of the silence behind the song
  driver->rate = 48000.0;
  ASSERT_TRUE(device->reset());
  EXPECT_EQ(runBlocks(10000), 40);
}

TEST_F(Player, a_run_ends_when_the_tail_has_been_silent_for_half_a_second)
{
  playShortSong({note(0.1, 60)});
  player->stopDriverAtEnd();
  ASSERT_TRUE(start());
  driver.takeCalls();
  EXPECT_EQ(runBlocks(10000), 20 + 50 - 1); // the block in which the song ends counts
  EXPECT_EQ(driver.takeCalls(), "stop\n");
}

TEST_F(Player, a_tail_without_end_is_cut_after_ten_seconds)
{
  plugin->doesNothing = false;
  playShortSong({});
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
