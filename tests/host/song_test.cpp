#include "host/song.h"

#include "host/midi_file.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace orbi {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes joined(std::initializer_list<Bytes> pieces)
{
  Bytes all;
  for (const Bytes& piece : pieces)
    all.insert(all.end(), piece.begin(), piece.end());
  return all;
}

Bytes header(int format, int tracks, int division = 96)
{
  Bytes bytes = {'M', 'T', 'h', 'd', 0, 0, 0, 6};
  for (int value : {format, tracks, division})
    bytes.insert(bytes.end(), {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)});
  return bytes;
}

Bytes track(const Bytes& events)
{
  return joined({{'M', 'T', 'r', 'k', 0, 0, static_cast<uint8_t>(events.size() >> 8),
                  static_cast<uint8_t>(events.size())},
                 events});
}

const Bytes endOfTrack = {0x00, 0xFF, 0x2F, 0x00};
const Bytes noteOn = {0x00, 0x90, 0x3C, 0x64};

/// Two tracks: tempo from 120 to 60 after one quarter; notes, a program change, running status and
/// a SysEx in two pieces.
Bytes smallSong()
{
  const Bytes tempo = {0x00, 0xFF, 0x51, 0x03, 0x07, 0xA1, 0x20, // 120
                       0x60, 0xFF, 0x51, 0x03, 0x0F, 0x42, 0x40, // 60
                       0x00, 0xC1, 0x05};
  const Bytes notes = {0x00, 0xF0, 0x03, 0x7E, 0x7F, 0x09, 0x00, 0xF7, 0x02, 0x01, 0xF7,
                       0x00, 0x90, 0x3C, 0x64, 0x60, 0x3C, 0x00, 0x60, 0x3E, 0x64};
  return joined({header(1, 2), track(joined({tempo, endOfTrack})),
                 track(joined({notes, {0x60, 0xFF, 0x2F, 0x00}}))});
}

std::optional<Song> read(const Bytes& file, std::string* why = nullptr)
{
  std::string error;
  auto song = readSong(file, error);
  EXPECT_EQ(song.has_value(), error.empty());
  if (why)
    *why = error;
  return song;
}

TEST(Song, events_fall_due_by_the_tempo_map_of_another_track_and_in_track_order)
{
  const auto song = read(smallSong());
  ASSERT_TRUE(song);
  struct Row {
    double seconds;
    std::array<uint8_t, 3> bytes;
    int size;
  };
  const Row rows[] = {{0.0, {0xF0, 0, 0}, 0},
                      {0.0, {0x90, 0x3C, 0x64}, 3},
                      {0.5, {0xC1, 0x05, 0}, 2},
                      {0.5, {0x90, 0x3C, 0x00}, 3},
                      {1.5, {0x90, 0x3E, 0x64}, 3}};
  ASSERT_EQ(song->events.size(), std::size(rows));
  for (size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_NEAR(song->events[i].seconds, rows[i].seconds, 1e-9) << i;
    EXPECT_EQ(song->events[i].bytes, rows[i].bytes) << i;
    EXPECT_EQ(song->events[i].size, rows[i].size) << i;
  }
  const auto sysex = song->sysexOf(song->events[0]);
  EXPECT_EQ(Bytes(sysex.begin(), sysex.end()), (Bytes{0xF0, 0x7E, 0x7F, 0x09, 0x01, 0xF7}));
  EXPECT_NEAR(song->seconds, 2.5, 1e-9);
}

TEST(Song, wrong_files_are_refused_with_the_reason)
{
  const auto oneTrack = [](const Bytes& events) { return joined({header(0, 1), track(events)}); };
  Bytes lying = oneTrack(joined({noteOn, endOfTrack}));
  lying[18] = 0x7F; // the track's length
  const struct {
    Bytes file;
    const char* reason;
  } rows[] = {
      {{}, "no MIDI file"},
      {{'R', 'I', 'F', 'F', 0, 0, 0, 6}, "no MIDI file"},
      {header(2, 1), "format 2"},
      {header(3, 1), "unknown"},
      {header(0, 2), "number of tracks"},
      {header(1, 0), "number of tracks"},
      {header(1, 1, 0xE728), "film frames"},
      {header(1, 1, 0), "no time base"},
      {header(1, 2), "2 of its tracks are missing"},
      {lying, "lies about a track's length"},
      {oneTrack({0x00, 0x3C, 0x64}), "without a status byte"},
      {oneTrack({0x00, 0x90, 0x3C}), "cut off"},
      {oneTrack({0x00, 0x90, 0x3C, 0x80}), "data byte above 127"},
      {oneTrack({0x00, 0xF4}), "status byte that no MIDI file"},
      {oneTrack({0x00, 0xF0, 0x02, 0x90, 0xF7}), "SysEx with a data byte"},
      {oneTrack({0x00, 0xF0, 0x8F, 0xFF, 0xFF, 0x7F}), "cut off"},
      {oneTrack({0x00, 0xFF, 0x51, 0x03, 0, 0, 0}), "tempo"},
      {oneTrack({0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x90, 0x3C, 0x64}), "cut off"},
      {oneTrack({0xFF, 0xFF, 0xFF, 0x7F, 0x90, 0x3C, 0x64, 0x01, 0x3C, 0x00}), "never ends"},
  };
  for (const auto& row : rows) {
    std::string why;
    EXPECT_FALSE(read(row.file, &why)) << row.reason;
    EXPECT_NE(why.find(row.reason), std::string::npos) << why;
  }
}

TEST(Song, a_file_cut_short_anywhere_is_refused)
{
  const Bytes whole = smallSong();
  for (size_t bytes = 0; bytes < whole.size(); ++bytes)
    EXPECT_FALSE(read(Bytes(whole.begin(), whole.begin() + bytes))) << bytes;
}

TEST(Song, foreign_chunks_and_messages_that_do_not_sound_are_passed_over)
{
  const Bytes events = joined({{0x00, 0xFF, 0x03, 0x02, 'h', 'i', 0x30, 0xF7, 0x01, 0xF8},
                               {0x30, 0x90, 0x3C, 0x64},
                               {0x00, 0xFF, 0x58, 0x00}});
  const auto song =
      read(joined({header(0, 1), {'X', 'F', 'I', 'H', 0, 0, 0, 1, 9}, track(events)}));
  ASSERT_TRUE(song);
  ASSERT_EQ(song->events.size(), 1u);
  EXPECT_NEAR(song->events[0].seconds, 0.5, 1e-9);
}

TEST(Song, a_long_track_keeps_its_times_and_order)
{
  Bytes events;
  for (int i = 0; i < 9000; ++i)
    events.insert(events.end(),
                  {static_cast<uint8_t>(i % 3), 0xB0, static_cast<uint8_t>(i % 128), 1});
  const auto song = read(joined({header(0, 1), track(joined({events, endOfTrack}))}));
  ASSERT_TRUE(song);
  ASSERT_EQ(song->events.size(), 9000u);
  for (int i = 0, pulse = 0; i < 9000; ++i) {
    pulse += i % 3;
    ASSERT_EQ(song->events[i].bytes[1], i % 128);
    ASSERT_NEAR(song->events[i].seconds, pulse / 192.0, 1e-6);
  }
}

TEST(Song, missing_files_and_folders_are_named)
{
  std::string error;
  EXPECT_FALSE(readSong(std::filesystem::path("/nowhere/song.mid"), error));
  EXPECT_EQ(error, "doesn't exist");
  EXPECT_FALSE(readSong(std::filesystem::temp_directory_path(), error));
  EXPECT_EQ(error, "is a folder");
}

TEST(Song, the_demo_plays_long_enough_on_many_channels_and_leaves_no_note_on)
{
  std::string error;
  const auto song = readSong(
      std::filesystem::path(__FILE__).parent_path().parent_path().parent_path() / "share/demo.mid",
      error);
  ASSERT_TRUE(song) << error;
  EXPECT_GT(song->seconds, 45.0);
  EXPECT_LT(song->seconds, 65.0);
  EXPECT_TRUE(song->events.front().isSysex());
  int sounding[16][128] = {};
  unsigned channels = 0;
  for (const SongEvent& event : song->events) {
    int& key = sounding[event.bytes[0] & 15][event.bytes[1] & 127];
    if (event.bytes[0] >> 4 == 9) {
      channels |= 1u << (event.bytes[0] & 15);
      EXPECT_EQ(key++, 0) << "struck again while it sounds, at " << event.seconds;
    } else if (event.bytes[0] >> 4 == 8) {
      EXPECT_EQ(--key, 0) << event.seconds;
    }
  }
  for (auto& channel : sounding)
    for (int key : channel)
      EXPECT_EQ(key, 0);
  EXPECT_EQ(channels, 0x3FFu);
}

} // namespace
} // namespace orbi
