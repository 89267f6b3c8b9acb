#include "platform/midi_input_stream.h"

#include "platform/midi_ear.h"
#include "platform/midi_port_names.h"

#include <gtest/gtest.h>

#include <random>

using namespace orbi::platform;

namespace {

using Lines = std::vector<std::string>;

TEST(MidiInputStream, bytes_become_messages_whatever_pieces_they_come_in)
{
  struct Case {
    const char* what;
    Bytes bytes;
    Lines lines;
  };
  const Case cases[] = {
      {"lengths by status",
       {0x91, 60, 100, 0xC2, 5, 0xF2, 1, 2, 0xF3, 7, 0xF6, 0xFE},
       {"91 3c 64 00", "c2 05 00 00", "f2 01 02 00", "f3 07 00 00", "f6 00 00 00", "fe 00 00 00"}},
      {"running status, through a real-time message",
       {0x90, 60, 0xF8, 100, 60, 0},
       {"f8 00 00 00", "90 3c 64 00", "90 3c 00 00"}},
      {"no running status after a system message",
       {0x90, 60, 1, 0xF6, 60, 1},
       {"90 3c 01 00", "f6 00 00 00"}},
      {"data and ends without a beginning", {1, 2, 0xF7, 0xF4, 3, 0xF9, 0xFD}, {}},
      {"SysEx over two buffers with a clock inside",
       {0xF0, 1, 2, 3, 0xF8, 4, 5, 0xF7},
       {"long f0 01 02 03", "f8 00 00 00", "long 04 05 f7"}},
      {"SysEx that just fills its buffer", {0xF0, 1, 2, 0xF7}, {"long f0 01 02 f7"}},
      {"SysEx broken off by a note",
       {0xF0, 1, 0x80, 60, 0, 2, 3},
       {"error f0 01", "80 3c 00 00", "80 02 03 00"}},
      {"SysEx broken off by another", {0xF0, 1, 0xF0, 2, 0xF7}, {"error f0 01", "long f0 02 f7"}},
      {"broken off where a buffer was just full",
       {0xF0, 1, 2, 3, 0xC0, 4},
       {"long f0 01 02 03", "error ", "c0 04 00 00"}},
  };
  for (const Case& one : cases)
    for (const std::size_t piece : {1, 2, 100}) {
      MidiEar ear(2, 4);
      MidiInputStream stream(ear);
      ear.listenTo(stream);
      for (std::size_t at = 0; at < one.bytes.size(); at += piece)
        stream.feed({&one.bytes[at], std::min(piece, one.bytes.size() - at)}, 0);
      EXPECT_EQ(ear.lines(), one.lines) << one.what;
    }
}

TEST(MidiInputStream, message_without_a_buffer_is_dropped_and_told_before_the_next)
{
  MidiEar ear(1, 4);
  MidiInputStream stream(ear);
  ear.listenTo(stream);
  ear.keepBuffers();
  stream.feed(sysexOf(6), 10);
  stream.feed(sysexOf(3), 11);
  EXPECT_EQ(ear.lines(), (Lines{"long f0 07 0e 15"}));
  ear.listenTo(stream);
  stream.feed(sysexOf(3), 12);
  EXPECT_EQ(ear.lines(), (Lines{"long f0 07 0e 15", "error ", "long f0 07 f7"}));
  EXPECT_EQ(ear.stamps(), (std::vector<std::uint32_t>{10, 12, 12}));
}

TEST(MidiInputStream, reset_gives_all_buffers_back_and_a_piece_carries_the_stamp_of_its_first_byte)
{
  MidiEar ear(2, 4);
  MidiInputStream stream(ear);
  ear.listenTo(stream);
  ear.keepBuffers();
  stream.feed(Bytes{0xF0, 1}, 5);
  stream.feed(Bytes{2}, 6);
  stream.reset();
  stream.feed(Bytes{3, 0xF7, 4}, 7);
  EXPECT_EQ(ear.lines(), (Lines{"long f0 01 02", "long 00 00 00 00"}));
  EXPECT_EQ(ear.stamps()[0], 5U);
}

TEST(MidiInputStream, no_bytes_make_it_lose_a_buffer_or_tell_what_is_no_message)
{
  std::mt19937 random(1);
  MidiEar ear(3, 5);
  MidiInputStream stream(ear);
  ear.listenTo(stream);
  for (int i = 0; i < 2000; ++i) {
    Bytes bytes(random() % 12);
    for (auto& byte : bytes)
      byte = static_cast<std::uint8_t>(random() % 3 ? random() % 128 : 0x80 + random() % 128);
    stream.feed(bytes, 0);
  }
  for (const std::string& line : ear.lines())
    if (line[0] != 'l' && line[0] != 'e') {
      EXPECT_GE(line[0], '8') << line;
      EXPECT_LT(line[3], '8') << line;
      EXPECT_LT(line[6], '8') << line;
    }
  const std::size_t before = ear.lines().size();
  ear.keepBuffers();
  stream.reset();
  EXPECT_EQ(ear.lines().size(), before + 3);
}

TEST(MidiPortNames, names_read_well_and_stay_with_their_port)
{
  EXPECT_EQ(midiPortName("Keys", "Keys MIDI 1"), "Keys MIDI 1");
  EXPECT_EQ(midiPortName("Synth", "out"), "Synth out");
  EXPECT_EQ(midiPortName(" \t", ""), "MIDI Port");
  EXPECT_EQ(midiPortName("Flügel\n", " "
                                     "\x01"
                                     "a  b"),
            "Flügel a b");
  const std::string longName =
      midiPortName("", std::string(199, 'x') + "ü" + std::string(4000, 'y'));
  EXPECT_EQ(longName, std::string(199, 'x')) << "cut inside a character";

  MidiPortNamer namer;
  EXPECT_EQ(namer.name({{"1", "Keys"}, {"2", "Keys"}, {"3", "Keys 2"}}),
            (Lines{"Keys", "Keys 2", "Keys 2 2"}));
  EXPECT_EQ(namer.name({{"2", "Keys"}}), (Lines{"Keys 2"}));
  EXPECT_EQ(namer.name({{"4", "Keys"}, {"2", "Keys"}}), (Lines{"Keys", "Keys 2"}));
  EXPECT_EQ(namer.name({{"2", "Pads"}}), (Lines{"Pads"})) << "renamed by its owner";
}

} // namespace
