#include "instruments/plugin.h"
#include "shared/realtime_watch.h"
#include "shared/variable.h"

#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <thread>
#include <unistd.h>

namespace {

using Message = Plugin::Message;
enum { gain, reverbOn, chorusOn = 6 };

class SoundFont : public testing::Test {
protected:
  void SetUp() override
  {
    if (!std::filesystem::exists(ORBI_SOUNDFONT_MODULE))
      GTEST_SKIP() << "built without FluidSynth";
    if (!Plugin(ORBI_SOUNDFONT_MODULE).loaded())
      GTEST_SKIP() << "no SoundFont file on this machine";
  }

  const Variable withoutDefaultBank_{"XDG_CONFIG_HOME", "/dev/null"};
};

/// The instrument, turned on.
struct Running : Plugin {
  Running() : Plugin(ORBI_SOUNDFONT_MODULE) { on(); }
};

float loudness(const Plugin::Sound& sound, int pair)
{
  return std::max(peakOf(sound[2 * pair]), peakOf(sound[2 * pair + 1]));
}

void dry(Plugin& plugin)
{
  for (int parameter : {reverbOn, chorusOn})
    plugin.set(parameter, 0.0f);
}

/// Bends, controllers, tuning by RPN, banks, programs and names away from their defaults.
void unsettle(Plugin& plugin)
{
  plugin.send({{0xB0, 0, 8},    {0xC0, 24, 0},   {0xB0, 0, 0},   {0xB3, 7, 50},  {0xB3, 10, 10},
               {0xB3, 91, 90},  {0xE3, 0, 80},   {0xB3, 101, 0}, {0xB3, 100, 0}, {0xB3, 6, 12},
               {0xB4, 101, 0},  {0xB4, 100, 1},  {0xB4, 38, 3},  {0xB4, 6, 90},  {0xC4, 56, 0},
               {0xB5, 99, 120}, {0xB5, 98, 8},   {0xB5, 38, 0},  {0xB5, 6, 60},  {0xC9, 16, 0},
               {0xB6, 1, 99},   {0xD6, 70, 0},   {0xB7, 11, 60}, {0xB7, 121, 0}, {0xB8, 74, 20},
               {0xB1, 5, 90},   {0xB2, 99, 120}, {0xB2, 98, 30}, {0xB2, 98, 18}});
  plugin.set(3, 0.7f);
  plugin.set(8, 0.4f);
  char name[] = "Renamed";
  plugin.call(opSetProgramName, 77, 0, name);
}

Plugin::Sound performance(Plugin& plugin)
{
  std::vector<Message> notes;
  for (uint8_t channel = 0; channel < 16; ++channel)
    notes.push_back(
        {static_cast<uint8_t>(0x90 | channel), static_cast<uint8_t>(48 + channel), 100});
  plugin.send(notes);
  Plugin::Sound sound = plugin.play(9000);
  plugin.send({{0xB4, 123, 0},
               {0xE0, 0, 90},
               {0xA1, 49, 80},
               {0xB5, 6, 30},
               {0xB2, 6, 70},
               {0x91, 61, 90}});
  for (const Plugin::Sound more = plugin.play(9000); size_t i : {0, 1, 2, 3})
    sound[i].insert(sound[i].end(), more[i].begin(), more[i].end());
  return sound;
}

TEST_F(SoundFont, keys_sound_at_their_pitch_at_every_rate_and_block_size)
{
  Plugin plugin(ORBI_SOUNDFONT_MODULE, 8000.0f);
  dry(plugin);
  plugin.call(opSetProgram, 0, 73); // flute
  for (const auto& [rate, block] : {std::pair{8000, 64},
                                    {44100, 1024},
                                    {48000, 31},
                                    {96000, 256},
                                    {176400, 333},
                                    {192000, 1},
                                    {44100, 8192}}) {
    plugin.off();
    plugin.setRate(static_cast<float>(rate));
    plugin.setBlock(block);
    plugin.on();
    EXPECT_EQ(loudness(plugin.play(rate / 50), 0), 0.0f) << rate;
    plugin.send({{0x90, 69, 100}});
    const auto sound = plugin.play(rate / 2);
    const auto from = static_cast<size_t>(rate / 4);
    EXPECT_NEAR(pitchOf({sound[0].begin() + static_cast<long>(from),
                         sound[0].begin() + static_cast<long>(from) + rate / 20},
                        0, rate),
                440.0, 5.0)
        << rate;
    EXPECT_GT(peakOf(sound[0], from), 0.02f) << rate;
    EXPECT_LT(peakOf(sound[0]), 1.0f) << rate;
  }
}

TEST_F(SoundFont, drums_and_their_effects_go_to_the_second_pair_and_all_else_to_the_first)
{
  for (uint8_t channel = 0; channel < 16; ++channel) {
    Running plugin;
    const auto status = [&](int kind) { return static_cast<uint8_t>(kind | channel); };
    plugin.send({{status(0xB0), 91, 127}, {status(0xB0), 93, 127}, {status(0x90), 40, 127}});
    const auto sound = plugin.play(24000);
    EXPECT_GT(loudness(sound, channel == 9), 0.02f) << int{channel};
    EXPECT_LT(loudness(sound, channel != 9), 1e-6f) << int{channel};
  }
}

TEST_F(SoundFont, reverb_goes_on_after_the_drum_on_its_own_pair_until_it_is_off)
{
  float tails[2];
  for (int wet : {0, 1}) {
    Plugin plugin(ORBI_SOUNDFONT_MODULE);
    plugin.set(reverbOn, static_cast<float>(wet));
    plugin.on();
    plugin.send({{0xB9, 91, 127}, {0x99, 37, 127}});
    plugin.play(12000);
    plugin.send({{0xB9, 120, 0}});
    plugin.play(4800);
    tails[wet] = loudness(plugin.play(4800), 1);
  }
  EXPECT_LT(tails[0], 1e-4f);
  EXPECT_GT(tails[1], 10 * tails[0] + 1e-5f);
}

TEST_F(SoundFont, programs_have_the_presets_names_and_the_channels_program_is_the_current_one)
{
  Plugin plugin(ORBI_SOUNDFONT_MODULE);
  std::set<std::string> names;
  for (int i = 0; i < 128; ++i)
    names.insert(plugin.programName(i));
  EXPECT_GT(names.size(), 100u);
  plugin.on();
  plugin.send({{0xC0, 40, 0}, {0xC1, 7, 0}});
  plugin.play(64);
  EXPECT_EQ(plugin.call(opGetProgram), 40);
  EXPECT_EQ(plugin.call(opSetProgram, 0, 5), 0);
  EXPECT_EQ(plugin.call(opGetProgram), 5);
  plugin.play(64);
  EXPECT_EQ(plugin.call(opGetProgram), 5);
  plugin.call(opSetProgram, 0, int64_t{1} << 40);
  plugin.call(opSetProgram, 0, -1);
  EXPECT_EQ(plugin.call(opGetProgram), 5);
}

TEST_F(SoundFont, every_parameter_is_heard_and_stays_within_its_range)
{
  const auto render = [](int parameter, float value) {
    Running plugin;
    plugin.send({{0xB0, 91, 127}, {0xB0, 93, 127}, {0x90, 60, 127}});
    plugin.play(2000);
    plugin.set(parameter, value);
    return plugin.play(10000);
  };
  for (int i = 0; i < 11; ++i)
    EXPECT_NE(render(i, 0.03f), render(i, 0.97f)) << i;
  Plugin plugin(ORBI_SOUNDFONT_MODULE);
  const float before = plugin.get(gain);
  plugin.set(gain, NAN);
  EXPECT_EQ(plugin.get(gain), before);
  plugin.set(gain, 7.0f);
  EXPECT_EQ(plugin.get(gain), 1.0f);
}

TEST_F(SoundFont, a_bank_brings_the_same_sound_and_names_back_on_or_off)
{
  Running source, neverRestored;
  unsettle(source);
  source.play(512);
  const auto bank = source.chunk(0);
  source.off();
  source.on();
  const auto expected = performance(source);
  unsettle(neverRestored);
  EXPECT_EQ(performance(neverRestored), expected);
  for (bool running : {false, true}) {
    Plugin other(ORBI_SOUNDFONT_MODULE);
    if (running) {
      other.on();
      performance(other);
    }
    ASSERT_EQ(other.setChunk(0, bank), 1);
    EXPECT_EQ(other.chunk(0), bank);
    EXPECT_EQ(other.call(opGetProgram), 24);
    other.on();
    EXPECT_EQ(performance(other), expected) << running;
    EXPECT_EQ(other.programName(77), "Renamed");
  }
  Running fresh;
  EXPECT_NE(performance(fresh), expected);
}

TEST_F(SoundFont, a_program_chunk_sets_program_and_parameters_and_no_other_channel)
{
  Plugin source(ORBI_SOUNDFONT_MODULE), other(ORBI_SOUNDFONT_MODULE);
  source.call(opSetProgram, 0, 11);
  const auto plain = source.chunk(1);
  source.on();
  source.send({{0xB0, 0, 8}, {0xC0, 11, 0}});
  source.play(64);
  source.set(2, 0.875f);
  other.on();
  other.send({{0xC2, 33, 0}});
  other.play(64);
  ASSERT_EQ(other.setChunk(1, source.chunk(1)), 1);
  other.play(64);
  EXPECT_EQ(other.chunk(1), source.chunk(1));
  EXPECT_EQ(other.get(2), 0.875f);
  ASSERT_EQ(other.setChunk(1, plain), 1);
  EXPECT_EQ(other.chunk(1), plain);
  EXPECT_EQ(plain.size(), source.chunk(1).size() - 2); // the variation's bank
  EXPECT_NE(other.chunk(0), source.chunk(0));          // channel 3 keeps its program
}

TEST_F(SoundFont, broken_chunks_change_nothing)
{
  Plugin source(ORBI_SOUNDFONT_MODULE), other(ORBI_SOUNDFONT_MODULE);
  source.on();
  unsettle(source);
  source.play(512);
  const auto before = other.chunk(0);
  for (int kind : {0, 1}) {
    const auto good = source.chunk(kind);
    for (size_t bytes = 0; bytes < good.size(); ++bytes)
      ASSERT_EQ(other.setChunk(kind, {good.begin(), good.begin() + static_cast<long>(bytes)}), 0);
    auto longer = good;
    longer.push_back(0);
    EXPECT_EQ(other.setChunk(kind, longer), 0);
    EXPECT_EQ(other.setChunk(1 - kind, good), 0);
    auto bad = good;
    const float none = NAN;
    std::memcpy(&bad[16 + 2], &none, sizeof none); // the first parameter
    EXPECT_EQ(other.setChunk(kind, bad), 0);
    if (kind == 0)
      for (const auto& [generator, value] : {std::pair{5, 16385.0f}, {10, -16385.0f}, {14, 1.0f}}) {
        bad = good;
        std::memcpy(&bad[16 + 2 + 11 * 4 + 10 + 128 + static_cast<size_t>(generator) * 4], &value,
                    sizeof value); // the first channel's
        EXPECT_EQ(other.setChunk(kind, bad), 0) << generator;
      }
    for (size_t at = 0; at < 16; ++at) { // the header
      bad = good;
      bad[at] ^= 0x41;
      EXPECT_EQ(other.setChunk(kind, bad), 0) << at;
    }
  }
  EXPECT_EQ(other.chunk(0), before);
}

TEST_F(SoundFont, default_bank_is_what_a_new_instrument_begins_with_unless_it_is_damaged)
{
  namespace fs = std::filesystem;
  const auto save = [](Plugin& plugin) {
    return plugin.call(opVendorSpecific, orbHostTag, orbSaveDefaultBank, nullptr, 1.0f);
  };
  Running source;
  const auto plain = source.chunk(0);
  unsettle(source);
  source.play(512);
  EXPECT_EQ(source.call(opVendorSpecific, orbHostTag, orbHasDefaultBank), 1);
  EXPECT_EQ(save(source), 0); // no folder can be made there
  const fs::path folder = fs::temp_directory_path() / ("orbi bank" + std::to_string(getpid()));
  setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
  EXPECT_EQ(save(source), 1);
  EXPECT_EQ(save(source), 1); // over the first one
  EXPECT_EQ(Plugin(ORBI_SOUNDFONT_MODULE).chunk(0), source.chunk(0));
  const fs::path file = folder / "Quillmore/SoundFont/default.bank";
  EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), {}), 1);
  fs::resize_file(file, fs::file_size(file) - 1);
  EXPECT_EQ(Plugin(ORBI_SOUNDFONT_MODULE).chunk(0), plain);
  fs::remove_all(folder);
}

TEST_F(SoundFont, the_same_events_give_the_same_bytes_each_time_it_is_turned_on)
{
  Running one, two;
  const auto first = performance(one);
  EXPECT_EQ(performance(two), first);
  two.off();
  Running three;
  std::vector<Message> flood(4096, Message{0x90, 60, 100});
  for (size_t i = 0; i < flood.size(); ++i)
    flood[i] = {static_cast<uint8_t>(0x90 + i % 96), static_cast<uint8_t>(i * 7 % 128), 99};
  three.send(flood);
  three.play(20000);
  three.off();
  Plugin four(ORBI_SOUNDFONT_MODULE);
  EXPECT_EQ(four.setChunk(0, one.chunk(0)), 1);
  EXPECT_EQ(three.setChunk(0, one.chunk(0)), 1);
  three.on();
  four.on();
  EXPECT_EQ(performance(three), performance(four));
}

TEST_F(SoundFont, long_silence_does_not_change_what_follows_nor_do_changes_within_it)
{
  Running plugin;
  plugin.send({{0x90, 60, 100}});
  plugin.play(4800);
  plugin.send({{0x80, 60, 0}});
  plugin.play(48000 * 12);
  EXPECT_EQ(loudness(plugin.play(256), 0), 0.0f);
  plugin.set(gain, 0.1f);
  plugin.play(256);
  plugin.send({{0x90, 60, 100}});
  EXPECT_GT(loudness(plugin.play(4800), 0), 0.005f);
}

TEST_F(SoundFont, playing_allocates_and_locks_nothing_whatever_comes)
{
  Plugin plugin(ORBI_SOUNDFONT_MODULE, 192000.0f);
  plugin.on();
  const long allocations = RealtimeWatch::counted().allocations;
  unsettle(plugin);
  plugin.play(512);
  const long locks =
      RealtimeWatch::counted().locks; // FluidSynth's own, for its effects' parameters
  for (uint8_t i = 0; i < 11; ++i) {
    plugin.call(opSetProgram, 0, 10 * i);
    plugin.set(gain, 0.1f);
    plugin.send({{0xB0, 0, i}, {0xC1, static_cast<uint8_t>(11 * i), 0}});
    performance(plugin);
  }
  EXPECT_EQ(RealtimeWatch::counted().locks, locks);
  for (int i = 0; i < 11; ++i) {
    plugin.set(i, 0.6f);
    performance(plugin);
  }
  EXPECT_EQ(RealtimeWatch::counted().allocations, allocations);
}

TEST_F(SoundFont, changes_on_the_main_thread_reach_an_instrument_that_plays_on_another)
{
  Running plugin;
  const auto bank = plugin.chunk(0);
  std::atomic<bool> stop{false};
  std::thread audio([&] {
    for (uint8_t i = 0; !stop; ++i) {
      plugin.send({{0x90, static_cast<uint8_t>(40 + i % 40), 90}, {0xB1, 7, i}, {0xC2, i, 0}});
      plugin.play(256);
    }
  });
  for (int round = 0; round < 60; ++round) {
    plugin.set(round % 11, 0.5f);
    plugin.call(opSetProgram, 0, round);
    EXPECT_EQ(plugin.call(opGetProgram), round);
    EXPECT_FALSE(plugin.chunk(0).empty());
    if (round % 20 == 19) {
      EXPECT_EQ(plugin.setChunk(0, bank), 1);
      plugin.setRate(round % 40 == 19 ? 44100.0f : 48000.0f);
      EXPECT_EQ(plugin.chunk(1), Plugin(ORBI_SOUNDFONT_MODULE).chunk(1));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  stop = true;
  audio.join();
  plugin.off();
}

TEST_F(SoundFont, rate_change_while_on_keeps_the_channels)
{
  Running plugin;
  plugin.send({{0xC0, 73, 0}, {0xB2, 7, 11}});
  plugin.setRate(96000.0f);
  EXPECT_EQ(plugin.call(opGetProgram), 73);
  dry(plugin);
  plugin.send({{0x90, 69, 100}});
  EXPECT_NEAR(pitchOf(plugin.play(48000)[0], 43000, 96000), 440.0, 5.0);
}

} // namespace
