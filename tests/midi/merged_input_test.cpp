#include "midi/merged_input.h"

#include "midi/midi_socket.h"
#include "persist/default_pool.h"
#include "shared/realtime_watch.h"
#include "studio/port_registry.h"
#include "ui/application.h"

#include <gmock/gmock.h>
#include <thread>

using namespace orbi;
using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

namespace {

struct Application final : UApplication {
  Application() : UApplication("Test") {}
  void startup() override {}
};

struct Socket final : PMidiInSocket {
  using PMidiInSocket::PMidiInSocket;
  bool open() override
  {
    setOpened(opens);
    return opens;
  }
  void close() override { setOpened(false); }
  bool isBridge() const override { return shows != nullptr; }
  bool repeats(const PMidiInSocket& other) const override { return &other == shows; }
  const PMidiInSocket* shows = nullptr;
  bool opens = true;
};

struct Consumer final : IMidiListener {
  void midiReceived(int32_t, PEvent& event, PMidiInput&) override
  {
    last = &event;
    ++received;
  }
  std::atomic<PEvent*> last{nullptr};
  std::atomic<int> received{0};
};

struct MergedInput : testing::Test {
  ~MergedInput() override
  {
    input->disconnectAll();
    merged->deactivate();
  }
  PMidiOutput* add(const char* name, const char* kind = systemPortKind)
  {
    auto port = make<PMidiOutput>(system.get(), name, kind);
    system->addOutput(port, PDevice::Registration::registered);
    return port.get();
  }
  Texts connected() const
  {
    Texts names;
    for (int32_t i = 0; i < merged->input().countConnections(); ++i)
      names.emplace_back(merged->input().connectionAt(i)->getName().text());
    return names;
  }
  FDefaults* group() { return pool->getGroup(PMergedMidiInput::portName); }

  Application application;
  Ref<FDefaultPool> pool = make<FDefaultPool>();
  Ref<PPortRegistry> registry = make<PPortRegistry>();
  Ref<PDevice> system = make<PDevice>("System MIDI");
  Ref<PMergedMidiInput> merged = make<PMergedMidiInput>();
  Consumer consumer;
  Ref<PMidiInput> input = make<PMidiInput>(nullptr, "Consumer", "test");
};

} // namespace

TEST_F(MergedInput, system_inputs_join_and_leave_by_themselves_while_it_runs)
{
  PMidiOutput* first = add("A");
  first->setVisible(false);
  add("Virtual", virtualPortKind);
  add("B");
  application.runPasses();
  EXPECT_THAT(connected(), IsEmpty());
  merged->activate();
  EXPECT_THAT(connected(), ElementsAre("A", "B"));
  system->removeOutput(first);
  add("C");
  registry->unregisterPort(system->findOutput("B")); // its device still has it
  application.runPasses();
  EXPECT_THAT(connected(), ElementsAre("C"));
  add("A");
  application.runPasses();
  EXPECT_THAT(connected(), ElementsAre("C", "A"));
  merged->deactivate();
  add("D");
  application.runPasses();
  EXPECT_THAT(connected(), IsEmpty());
}

TEST_F(MergedInput, hardware_that_two_families_show_plays_once)
{
  auto bridge = make<Socket>(system.get(), "Bridge");
  auto direct = make<Socket>(system.get(), "Direct");
  bridge->shows = direct.get();
  system->addOutput(bridge, PDevice::Registration::registered);
  merged->activate();
  EXPECT_THAT(connected(), ElementsAre("Bridge"));
  system->addOutput(direct, PDevice::Registration::registered);
  application.runPasses();
  EXPECT_THAT(connected(), ElementsAre("Direct"));
  merged->setExcluded(*direct, true);
  EXPECT_THAT(connected(), ElementsAre("Bridge"));
  direct->opens = false;
  direct->activate();
  merged->setExcluded(*direct, false);
  EXPECT_THAT(connected(), ElementsAre("Bridge", "Direct")) << "the bridge has it for itself";
  direct->opens = true;
  add("Pads"); // a change, at which it is tried again
  application.runPasses();
  EXPECT_THAT(connected(), ElementsAre("Direct", "Pads"));
}

TEST_F(MergedInput, a_port_that_is_left_out_stays_out_across_restarts_and_when_it_comes_back)
{
  PMidiOutput* port = add("A");
  add("B");
  merged->activate();
  merged->setExcluded(*port, false);
  EXPECT_TRUE(group()->isEmpty()) << "nothing changed";
  merged->setExcluded(*port, true);
  system->removeOutput(port);
  merged = make<PMergedMidiInput>();
  port = add("A");
  merged->activate();
  application.runPasses();
  EXPECT_TRUE(merged->isExcluded(*port));
  EXPECT_THAT(connected(), ElementsAre("B"));
  merged->setExcluded(*port, false);
  EXPECT_THAT(connected(), ElementsAre("B", "A"));
  merged->restart();
  EXPECT_THAT(connected(), ElementsAre("B", "A"));
}

TEST_F(MergedInput, what_is_no_identifier_among_the_stored_ones_is_passed_over)
{
  add("A");
  PMidiOutput* last = add("B");
  auto stored = make<FAttributes>();
  stored->appendObject("PortIDs", make<PEvent>().detach(), true);
  stored->appendObject("PortIDs", make<CmString>("I|System MIDI|A").detach(), true);
  group()->setObject("Excluded", stored.get(), false);
  merged->setExcluded(*last, true); // before it runs
  merged->activate();
  EXPECT_THAT(connected(), IsEmpty());
  group()->setString("Excluded", "I|System MIDI|A");
  merged->restart();
  EXPECT_THAT(connected(), ElementsAre("A", "B"));
}

TEST_F(MergedInput, many_threads_send_through_it_while_ports_come_and_go_and_no_ring_goes_on)
{
  constexpr int threads = 4, events = 2000;
  input->setListener(&consumer);
  std::vector<PMidiOutput*> ports;
  for (const char* name : {"A", "B", "C", "D"})
    ports.push_back(add(name));
  merged->activate();
  merged->output().connect(&merged->input()); // a ring
  merged->output().connect(input.get());
  PMidiEvent event(0x90, 60, 100);
  const auto before = RealtimeWatch::counted();
  {
    RealtimeWatch watch;
    ports[0]->send(event);
  }
  const auto spent = RealtimeWatch::counted() - before;
  EXPECT_EQ(spent.allocations + spent.locks + spent.waits, 0);
  EXPECT_EQ(consumer.last, &event);
  EXPECT_EQ(consumer.received, 1);
  std::vector<std::thread> senders;
  for (int i = 0; i < threads; ++i)
    senders.emplace_back([port = ports[static_cast<size_t>(i)]] {
      PMidiEvent own(0x80, 60, 0);
      for (int sent = 0; sent < events; ++sent)
        port->send(own);
    });
  for (int i = 0; i < 50; ++i) {
    PMidiOutput* passing = add("Passing");
    application.runPasses();
    system->removeOutput(passing);
  }
  for (std::thread& sender : senders)
    sender.join();
  EXPECT_EQ(consumer.received, 1 + threads * events);
}
