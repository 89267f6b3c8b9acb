#include "foundation/message.h"
#include "shared/host_rig.h"

#include <gtest/gtest.h>

using namespace orbi;

namespace {

using Events = std::vector<std::array<int, 3>>;

class Bridge : public testing::Test, protected HostRig {};

/// The probing plug-in's output at a frame.
float rendered(int output, int frame)
{
  return static_cast<float>(output + 1) + static_cast<float>(frame) * 0.001f;
}

} // namespace

TEST_F(Bridge, the_plugin_runs_between_the_devices_start_and_stop)
{
  driver->rate = 96000.0;
  build();
  plugin.takeCalls();
  ASSERT_TRUE(device->selectDriver(0));
  EXPECT_EQ(plugin.takeCalls(), "11 0 64 0\n10 0 0 96000\n");
  ASSERT_TRUE(device->start());
  EXPECT_EQ(plugin.takeCalls(), "12 0 1 0\n");
  block();
  EXPECT_EQ(plugin->frames, 64);
  device->stop();
  EXPECT_EQ(plugin.takeCalls(), "12 0 0 0\n");
  bridge->formatChanged(64, 96000.0);
  EXPECT_EQ(plugin.takeCalls(), ""); // nothing changed
}

TEST_F(Bridge, the_plugin_sees_the_time_of_the_block)
{
  ASSERT_TRUE(start());
  driver->position = {0, 96000};
  driver->timeStamp = {0, 5000};
  block();
  const OrbTimeBlock& time = host->timeBlock();
  EXPECT_EQ(time.samplePosition, 96000.0);
  EXPECT_EQ(time.nanoSeconds, 5000.0);
  EXPECT_EQ(time.musicalPosition, 4.0);
  EXPECT_EQ(time.flags, 0x2F00);
}

TEST_F(Bridge, events_come_with_the_next_block_by_time_and_then_by_arrival)
{
  ASSERT_TRUE(start());
  block();
  EXPECT_EQ(plugin->eventLists, 0); // no events, no call
  PMidiEvent late(0xB3, 7, 100), early(0xE0, 1, 2), early2(0xC5, 9, 0);
  late.setTime(2.0);
  early.setTime(1.0);
  early2.setTime(1.0);
  PSysexEvent sysex;
  const uint8_t bytes[] = {0xF0, 1, 2, 0xF7};
  sysex.append(bytes, 4);
  sysex.setTime(3.0);
  play({late, early, early2});
  input->receive(sysex);
  block();
  EXPECT_EQ(eventsSeen(), (Events{{0xE0, 1, 2}, {0xC5, 9, 0}, {0xB3, 7, 100}, {0xF0, 0, 0}}));
  const OrbMidiEventRecord* first = plugin->firstRecord;
  EXPECT_EQ(plugin->events[0].type, orbEventMidi);
  EXPECT_EQ(plugin->events[0].byteSize, orbMidiEventBytes);
  EXPECT_EQ(plugin->events[0].sampleOffset, 0);
  block();
  EXPECT_EQ(plugin->eventLists, 1); // all were taken
  play({late});
  block();
  EXPECT_EQ(plugin->firstRecord, first); // the same records for ever
}

TEST_F(Bridge, key_struck_twice_sends_a_note_off_between)
{
  ASSERT_TRUE(start());
  const struct {
    std::vector<PMidiEvent> played;
    Events seen;
  } cases[] = {
      {{{0x91, 60, 100}, {0x91, 60, 90}, {0x91, 60, 80}},
       {{0x91, 60, 100}, {0x81, 60, 0}, {0x91, 60, 90}, {0x81, 60, 0}, {0x91, 60, 80}}},
      {{{0x92, 60, 100}, {0x82, 60, 5}, {0x92, 60, 90}},
       {{0x92, 60, 100}, {0x82, 60, 5}, {0x92, 60, 90}}},
      {{{0x93, 60, 100}, {0x93, 60, 0}, {0x93, 60, 90}},
       {{0x93, 60, 100}, {0x93, 60, 0}, {0x93, 60, 90}}},
      // A first note on without velocity counts as struck.
      {{{0x94, 60, 0}, {0x94, 60, 90}}, {{0x94, 60, 0}, {0x84, 60, 0}, {0x94, 60, 90}}},
      {{{0x95, 60, 1}, {0x95, 61, 1}, {0x96, 60, 1}},
       {{0x95, 60, 1}, {0x95, 61, 1}, {0x96, 60, 1}}},
  };
  for (const auto& example : cases) {
    play(example.played);
    block();
    EXPECT_EQ(eventsSeen(), example.seen);
  }
  device->stop();
  ASSERT_TRUE(device->start()); // forgets what was held
  play({{0x91, 60, 70}});
  block();
  EXPECT_EQ(eventsSeen(), (Events{{0x91, 60, 70}}));
}

TEST_F(Bridge, a_restart_drops_nothing_that_waits_but_begins_of_notes)
{
  ASSERT_TRUE(start());
  play({{0x90, 60, 100}, {0xB0, 64, 127}});
  block();
  play({{0xC0, 24, 0}, {0x90, 60, 0}, {0xB0, 64, 0}, {0x90, 61, 100}, {0xB0, 64, 127}});
  play({{0x80, 60, 0}, {0xB0, 64, 0}, {0xF0, 0, 0}, {0xB0, 7, 1}, {0xE0, 0, 80}});
  device->stop();
  ASSERT_TRUE(device->start());
  block();
  EXPECT_EQ(eventsSeen(), (Events{{0xC0, 24, 0},
                                  {0x80, 60, 0},
                                  {0xB0, 64, 0},
                                  {0xB0, 64, 127},
                                  {0xB0, 64, 0},
                                  {0xF0, 0, 0},
                                  {0xB0, 7, 1},
                                  {0xE0, 0, 80}}));
}

TEST_F(Bridge, what_lets_go_of_a_key_outlasts_a_restart_though_the_queue_is_full)
{
  ASSERT_TRUE(start());
  play({{0x80, 59, 0}});
  play(std::vector<PMidiEvent>(70000, PMidiEvent(0xB0, 1, 1)));
  play({{0x90, 62, 100}, {0x80, 60, 0}, {0x82, 60, 0}, {0xB0, 123, 0}, {0x80, 60, 0}});
  device->stop();
  ASSERT_TRUE(device->start());
  block();
  Events expected(orbMaxEvents, {0xB0, 1, 1});
  expected.front() = {0x80, 59, 0};
  std::ranges::copy(Events{{0x80, 60, 0}, {0x82, 60, 0}, {0xB0, 123, 0}}, expected.end() - 3);
  EXPECT_EQ(eventsSeen(), expected);
}

TEST_F(Bridge, a_block_takes_4096_events_and_the_rest_is_lost)
{
  ASSERT_TRUE(start());
  PMidiEvent control(0xB0, 1, 1), strike(0x90, 60, 100);
  play(std::vector<PMidiEvent>(orbMaxEvents + 1, control));
  block();
  EXPECT_EQ(plugin->eventCount, orbMaxEvents);
  block();
  EXPECT_EQ(plugin->eventLists, 1);
  // The last place goes to the extra note off, and the note on that caused it is lost.
  play({strike});
  play(std::vector<PMidiEvent>(orbMaxEvents - 2, control));
  play({strike, control});
  block();
  ASSERT_EQ(plugin->eventCount, orbMaxEvents);
  EXPECT_EQ(eventsSeen().back(), (std::array<int, 3>{0x80, 60, 0}));
}

TEST_F(Bridge, outputs_that_share_a_channel_are_summed_in_order)
{
  plugin->numOutputs = 5;
  driver->outputs = 4;
  ASSERT_TRUE(start());
  const int routes[] = {2, 0, 2, 3, 2};
  for (int output = 0; output < 5; ++output)
    bridge->outputs().set(output, routes[output]);
  bridge->applyRouting();
  for (int turn = 0; turn < 2; ++turn) { // the second must not add to the first
    block();
    for (int frame : {0, 1, 63}) {
      EXPECT_EQ(sample(0, frame), rendered(1, frame));
      EXPECT_EQ(sample(1, frame), 0.0f); // active with its pair, nobody plays there
      EXPECT_EQ(sample(2, frame), rendered(0, frame) + rendered(2, frame) + rendered(4, frame));
      EXPECT_EQ(sample(3, frame), rendered(3, frame));
    }
  }
}

TEST_F(Bridge, a_sum_is_made_in_the_order_of_the_outputs)
{
  // In any other order the small one is lost.
  const struct {
    std::vector<float> levels;
    std::vector<int> routes;
  } cases[] = {{{0, 1e8f, -1e8f, 1}, {0, 0, 0, 0}},
               {{0, 1e8f, 7, -1e8f, 1, 7}, {0, 0, 1, 0, 0, 1}},
               {{0, 7, 1e8f, -1e8f, 7, 1}, {0, 1, 0, 0, 1, 0}},
               {{0, 7, 1e8f, 7, -1e8f, 7, 1}, {0, 1, 0, 1, 0, 1, 0}}};
  for (const auto& example : cases) {
    HostRig rig;
    rig.plugin->levels = example.levels.data();
    rig.plugin->numOutputs = static_cast<int>(example.levels.size());
    ASSERT_TRUE(rig.start());
    for (int output = 0; output < rig.plugin->numOutputs; ++output)
      rig.bridge->outputs().set(output, example.routes[size_t(output)]);
    rig.block();
    EXPECT_EQ(rig.sample(0, 0), 1.0f) << testing::PrintToString(example.routes);
  }
}

TEST_F(Bridge, outputs_routed_to_nowhere_are_silent_and_harm_nobody)
{
  plugin->numOutputs = 200;
  ASSERT_TRUE(start());
  const int nowhere[] = {5, 127, 128, 1 << 30, INT32_MAX, -1};
  for (int output = 1; output < 200; ++output)
    bridge->outputs().set(output, nowhere[output % 6]);
  block();
  EXPECT_EQ(sample(0, 3), rendered(0, 3));
  for (int output = 0; output < 200; ++output)
    bridge->outputs().set(output, 1);
  block();
  float sum = rendered(0, 3);
  for (int output = 1; output < 200; ++output)
    sum += rendered(output, 3);
  EXPECT_EQ(sample(1, 3), sum);
}

TEST_F(Bridge, an_adding_plugin_finds_its_outputs_cleared)
{
  plugin->flags = 0;
  ASSERT_TRUE(start());
  for (int turn = 0; turn < 3; ++turn) {
    block();
    EXPECT_EQ(sample(0, 63), rendered(0, 63) + 0.0f);
  }
}

TEST_F(Bridge, a_fault_in_a_block_is_silence_from_then_on_and_the_rest_goes_on)
{
  for (int place : {int(ProbePlugin::inProcess), int(opProcessEvents)})
    for (ProbeFault fault : {probeThrows, probeBadAccess, probeBadArithmetic, probeOverflow}) {
      HostRig rig;
      rig.plugin->locks = true; // what it holds then is waited for by every other call
      rig.plugin->needsIdleInEntry = true;
      ASSERT_TRUE(rig.start());
      rig.block();
      EXPECT_EQ(rig.sample(0, 0), rendered(0, 0));
      rig.plugin->fault = fault;
      rig.plugin->faultAt = place;
      rig.play({PMidiEvent(0x90, 60, 1)});
      rig.block();
      EXPECT_EQ(rig.sample(0, 0), 0.0f);
      rig.plugin->fault = probeNoFault;
      int blocks = rig.plugin->blocks;
      rig.block();
      EXPECT_EQ(rig.sample(0, 0), 0.0f);
      EXPECT_EQ(rig.plugin->blocks, blocks); // it isn't called any more
      rig.plugin.takeCalls();
      rig.device->stop();
      EXPECT_TRUE(rig.device->start());
      FMessage idle("Idle");
      rig.loaded->handleMessage(idle);
      rig.loaded->setParameter(0, 1.0f);
      EXPECT_EQ(rig.loaded->parameter(0), 0.0f);
      OrbRect rect{};
      EXPECT_FALSE(rig.loaded->editorRect(rect));
      rig.close();
      rig.host->unloadAll();
      EXPECT_EQ(rig.plugin.takeCalls(), "");
    }
}

TEST_F(Bridge, a_plugin_that_does_not_return_is_left_alone_and_may_return_later)
{
  ASSERT_TRUE(start());
  plugin->hold = true;
  driver.switchBuffers(0, 0);
  DriverProbe::waitUntil([this] { return plugin->inside.load(); });
  plugin.takeCalls();
  device->stop();
  EXPECT_TRUE(device->isHung());
  host->unloadAll();
  EXPECT_EQ(plugin.takeCalls(), ""); // neither switched off nor closed while it works
  plugin->hold = false;
  DriverProbe::waitUntil([this] { return !bridge->isInProcess(); });
}

TEST_F(Bridge, idle_carries_out_the_drivers_reset_and_a_failed_one_takes_the_default_routing)
{
  driver->outputs = 4;
  plugin->numOutputs = 2;
  ASSERT_TRUE(start());
  bridge->outputs().set(0, 3);
  bridge->outputs().set(1, 0);
  driver->outputs = 2;
  driver->callbacks.message(loomResetRequest, 0);
  FMessage idle("Idle");
  EXPECT_EQ(bridge->handleMessage(idle), 1);
  EXPECT_EQ(device->outputCount(), 2);
  EXPECT_EQ(bridge->outputs().at(0), 0); // beyond the last output now
  EXPECT_EQ(bridge->outputs().at(1), 0);
  for (int index = 0; index < DriverProbe::count; ++index)
    driver[index].makes = false;
  device->reset();
  EXPECT_EQ(bridge->outputs().at(1), 1);
}
