#include "instruments/plugin.h"
#include "shared/realtime_watch.h"

#include <cmath>
#include <gtest/gtest.h>

namespace {

using Message = Plugin::Message;

class Sine : public testing::Test {
protected:
  Plugin sine{ORBI_SINE};
  void SetUp() override { sine.on(); }
};

TEST_F(Sine, keys_sound_at_their_pitch_on_both_channels_and_end)
{
  for (const auto& [key, hertz] : {std::pair{57, 220.0}, {69, 440.0}, {81, 880.0}}) {
    sine.send({{0x90, static_cast<uint8_t>(key), 127}});
    const auto sound = sine.play(9600);
    EXPECT_NEAR(pitchOf(sound[0], 4800, 48000), hertz, hertz * 0.002);
    EXPECT_EQ(sound[0], sound[1]);
    EXPECT_NEAR(peakOf(sound[0], 4800), 0.25 * 0.7, 0.002);
    sine.send({{0x80, static_cast<uint8_t>(key), 0}});
    EXPECT_EQ(peakOf(sine.play(9600)[0], 9000), 0.0f);
  }
}

TEST_F(Sine, nothing_clicks_when_notes_start_end_bend_or_are_stolen)
{
  Plugin::Sound all(1);
  const auto go = [&](std::vector<Message> messages, int frames) {
    sine.send(messages);
    const auto sound = sine.play(frames);
    all[0].insert(all[0].end(), sound[0].begin(), sound[0].end());
  };
  for (int i = 0; i < 20; ++i)
    go({{0x90, static_cast<uint8_t>(40 + i), 100}}, 300);
  go({{0xE0, 0, 96}}, 777);
  sine.set(0, 0.2f);
  go({{0xB0, 64, 127}, {0x80, 50, 0}}, 1000);
  go({{0xB0, 123, 0}}, 1000);
  go({{0xB0, 64, 0}, {0xB0, 120, 0}}, 1000);
  for (size_t i = 1; i < all[0].size(); ++i)
    ASSERT_LT(std::fabs(all[0][i] - all[0][i - 1]), 0.2f) << i; // sixteen voices at 330 Hz: 0.13
}

TEST_F(Sine, bend_and_pedal_are_honoured_on_their_channel_alone)
{
  sine.send({{0x91, 69, 100}, {0xE0, 0, 127}});
  EXPECT_NEAR(pitchOf(sine.play(9600)[0], 4800, 48000), 440.0, 1.0);
  sine.send({{0xE1, 127, 127}});
  EXPECT_NEAR(pitchOf(sine.play(9600)[0], 4800, 48000), 440.0 * std::pow(2.0, 2.0 / 12), 1.5);
  sine.send({{0xB1, 64, 127}, {0x91, 69, 0}});
  EXPECT_GT(peakOf(sine.play(9600)[0], 9000), 0.05f);
  sine.send({{0xB1, 64, 0}});
  EXPECT_EQ(peakOf(sine.play(9600)[0], 9000), 0.0f);
}

TEST_F(Sine, accumulating_adds_what_replacing_writes)
{
  Plugin other{ORBI_SINE};
  other.on();
  for (Plugin* plugin : {&sine, &other})
    plugin->send({{0x90, 60, 90}, {0x90, 67, 80}});
  EXPECT_EQ(sine.play(5000), other.play(5000, true));
}

TEST_F(Sine, programs_keep_their_own_parameters_and_names)
{
  EXPECT_EQ(sine.programName(0), "Plain Sine");
  sine.set(0, 0.25f);
  EXPECT_EQ(sine.programName(2), "Slow Glass");
  EXPECT_NE(sine.get(0), 0.25f);
  char name[] = "Mine";
  sine.call(opSetProgramName, 2, 0, name);
  EXPECT_EQ(sine.programName(2), "Mine");
  EXPECT_EQ(sine.programName(0), "Plain Sine");
  EXPECT_EQ(sine.get(0), 0.25f);
  sine.call(opSetProgram, 0, 99);
  EXPECT_EQ(sine.call(opGetProgram), 0);
}

TEST_F(Sine, playing_allocates_and_locks_nothing)
{
  const auto before = RealtimeWatch::counted();
  sine.send({{0x90, 60, 90}, {0xB0, 7, 3}, {0xF0, 1, 2}});
  sine.play(4096);
  const auto spent = RealtimeWatch::counted() - before;
  EXPECT_EQ(spent.allocations, 0);
  EXPECT_EQ(spent.locks, 0);
}

} // namespace
