#include "platform/midi_loopback.h"

#include "platform/midi_ear.h"

#include <gtest/gtest.h>

#include <thread>

using namespace orbi::platform;

namespace {

using Lines = std::vector<std::string>;

TEST(MidiLoopback, what_is_sent_arrives_stamped_and_a_held_buffer_is_done_later)
{
  MidiLoopback midi;
  midi.plug("Keys");
  midi.rescan();
  MidiEar ear(1, 16);
  DoneCounter done;
  auto input = midi.openInput(0, ear);
  auto output = midi.openOutput(0, done);
  ASSERT_TRUE(input && output);
  ear.listenTo(*input);
  EXPECT_TRUE(output->shortMessage(0x403C90)); // before the start
  input->start();
  midi.setStamp(250);
  EXPECT_TRUE(output->shortMessage(0x7F3C90));
  midi.holdDone(true);
  OwnBuffer first(sysexOf(4)), second(sysexOf(3));
  EXPECT_TRUE(output->longMessage(first));
  EXPECT_TRUE(output->longMessage(second));
  EXPECT_TRUE(midi.play("Keys", Bytes{0xFE}));
  EXPECT_EQ(ear.lines(),
            (Lines{"90 3c 7f 00", "long f0 07 0e f7", "long f0 07 f7", "fe 00 00 00"}));
  EXPECT_EQ(ear.stamps(), (std::vector<std::uint32_t>(4, 250)));
  EXPECT_EQ(done.count, 0);
  midi.holdDone(false);
  EXPECT_EQ(done.count, 2);
  midi.holdDone(true);
  EXPECT_TRUE(output->longMessage(first));
  output.reset();
  EXPECT_EQ(done.count, 3) << "closing gives the last buffer back";
}

TEST(MidiLoopback, ports_come_and_go_with_one_notice_until_somebody_looks)
{
  MidiLoopback midi;
  int notices = 0;
  midi.setChangeHandler([&] { ++notices; });
  midi.plug("Own", true);
  midi.plug("Keys");
  EXPECT_EQ(notices, 1);
  EXPECT_TRUE(midi.rescan());
  EXPECT_FALSE(midi.rescan());
  ASSERT_EQ(midi.inputs().size(), 2U);
  EXPECT_TRUE(midi.inputs()[0].isVirtual);
  EXPECT_EQ(midi.outputs()[1], (MidiPortInfo{"Keys", false, 1}));

  MidiEar ear;
  DoneCounter done;
  midi.refuseOpening(true);
  EXPECT_FALSE(midi.openInput(1, ear));
  midi.refuseOpening(false);
  EXPECT_FALSE(midi.openInput(2, ear));
  const auto input = midi.openInput(1, ear);
  const auto output = midi.openOutput(1, done);
  EXPECT_FALSE(midi.openInput(1, ear)) << "open already";
  input->start();
  midi.unplug("Keys");
  EXPECT_EQ(notices, 2);
  EXPECT_FALSE(output->shortMessage(0x90));
  EXPECT_FALSE(midi.play("Keys", Bytes{0xF8}));
  EXPECT_TRUE(midi.rescan());
  EXPECT_EQ(midi.inputs().size(), 1U);
  EXPECT_TRUE(ear.lines().empty());
}

TEST(MidiPorts, that_a_bridge_shows_once_more_are_known_by_the_name_of_what_is_behind)
{
  const MidiPortInfo keys{"Keystation-61 MIDI 1", false, 0, "Keystation-61"};
  const MidiPortInfo unnamed{"x", false, 0, "♪"};
  for (const char* shown : {"a2j:Keystation 61 [24] (capture): Keystation 61 MIDI 1",
                            "system:midi_capture_1\nalsa_midi:KEYSTATION-61 MIDI 1 (out)"}) {
    const MidiPortInfo bridged{"shown", false, 0, shown, true};
    EXPECT_TRUE(repeats(bridged, keys));
    EXPECT_FALSE(repeats(keys, bridged));
    EXPECT_FALSE(repeats(bridged, bridged));
    EXPECT_FALSE(repeats(bridged, unnamed));
  }
  EXPECT_FALSE(repeats({"", false, 0, "firewire_pcm:001_MidiIn", true}, keys));
  const MidiPortInfo monkeys{"", false, 0, "a2j:Monkeys UM [24] (capture): UM", true};
  EXPECT_FALSE(repeats(monkeys, {"Keys", false, 0, "Keys"})) << "a part of a word";
  EXPECT_FALSE(repeats(monkeys, {"UM 1", false, 0, "UM"})) << "says too little";
  EXPECT_FALSE(repeats(monkeys, {"Monkeys In", true, 0, "Monkeys"})) << "our own";
}

TEST(MidiLoopback, no_call_comes_after_closing_while_others_play)
{
  MidiLoopback midi;
  midi.plug("Keys");
  midi.rescan();
  std::atomic<bool> ends{false};
  std::thread player([&] {
    while (!ends)
      midi.play("Keys", Bytes{0x90, 60, 100});
  });
  for (int i = 0; i < 200; ++i) {
    auto ear = std::make_unique<MidiEar>();
    auto input = midi.openInput(0, *ear);
    input->start();
    EXPECT_TRUE(waitFor([&] { return i % 2 == 0 || !ear->lines().empty(); }));
    input.reset();
    ear.reset(); // a call now would be seen by the sanitizers
  }
  ends = true;
  player.join();
}

} // namespace
