#include "midi/mme_midi_device.h"

#include "foundation/message.h"
#include "midi/port_uids.h"
#include "persist/default_pool.h"
#include "platform/midi_loopback.h"
#include "shared/crowd.h"
#include "studio/port_registry.h"

#include <chrono>
#include <gmock/gmock.h>
#include <mutex>

using namespace orbi;
using testing::ElementsAre;

namespace {

using Bytes = std::vector<uint8_t>;

/// One output that keeps what is sent; pieces are done when the test says so.
class SinkSystem final : public platform::MidiSystem {
public:
  struct Port final : platform::MidiOutputPort {
    Port(SinkSystem& of, platform::IMidiOutputHandler& heard) : system(of), handler(heard) {}
    ~Port() override { system.giveBack(handler); }
    bool shortMessage(uint32_t packed) override
    {
      return system.keep({static_cast<uint8_t>(packed), static_cast<uint8_t>(packed >> 8),
                          static_cast<uint8_t>(packed >> 16)});
    }
    bool longMessage(platform::MidiBuffer& buffer) override
    {
      if (!system.keep(Bytes(buffer.data, buffer.data + buffer.recorded)))
        return false;
      system.waiting.push_back(&buffer);
      if (!system.holdsDone)
        system.giveBack(handler);
      return true;
    }
    SinkSystem& system;
    platform::IMidiOutputHandler& handler;
  };

  const char* name() const override { return "Sink"; }
  bool rescan() override { return replacePorts({}, {{"out", false}}); }
  std::unique_ptr<platform::MidiInputPort> openInput(size_t, platform::IMidiInputHandler&) override
  {
    return nullptr;
  }
  std::unique_ptr<platform::MidiOutputPort> openOutput(size_t,
                                                       platform::IMidiOutputHandler& heard) override
  {
    return std::make_unique<Port>(*this, heard);
  }
  void setChangeHandler(std::function<void()>) override {}
  void idle() override {}

  void giveBack(platform::IMidiOutputHandler& handler)
  {
    for (platform::MidiBuffer* buffer : std::exchange(waiting, {}))
      handler.done(*buffer);
  }
  bool keep(Bytes bytes)
  {
    std::lock_guard guard(mutex);
    if (isFull)
      return false;
    sent.push_back(std::move(bytes));
    return true;
  }
  std::vector<Bytes> take()
  {
    std::lock_guard guard(mutex);
    return std::exchange(sent, {});
  }

  std::mutex mutex;
  std::vector<Bytes> sent;
  std::vector<platform::MidiBuffer*> waiting;
  bool holdsDone = false;
  bool isFull = false;
};

class Listener final : public IMidiListener {
public:
  struct Heard {
    Bytes bytes;
    double time;
    uint16_t flags;
  };
  void midiReceived(int32_t, PEvent& event, PMidiInput&) override
  {
    std::lock_guard guard(mutex);
    auto& midi = static_cast<PMidiEvent&>(event);
    Bytes bytes{midi.status, midi.data1, midi.data2};
    if (auto* sysex = castTo<PSysexEvent>(&event))
      bytes.assign(sysex->getData(), sysex->getData() + sysex->getSize());
    all.push_back({bytes, event.getTime(), event.flags});
  }
  std::vector<Bytes> take()
  {
    std::lock_guard guard(mutex);
    std::vector<Bytes> taken;
    for (Heard& heard : std::exchange(all, {}))
      taken.push_back(heard.bytes);
    return taken;
  }
  std::mutex mutex;
  std::vector<Heard> all;
};

/// A device over the loop-back, with a consumer.
class MmeMidiDevice : public testing::Test {
protected:
  ~MmeMidiDevice() override
  {
    input->disconnectAll();
    device = {};
  }
  void makeDevice(std::initializer_list<const char*> ports)
  {
    auto system = std::make_unique<platform::MidiLoopback>();
    loop = system.get();
    for (const char* port : ports)
      loop->plug(port);
    device = make<PMmeMidiDevice>(std::move(system));
    device->activate();
    input->setListener(&listener);
  }
  void play(const char* port, Bytes bytes) { EXPECT_TRUE(loop->play(port, bytes)); }

  FDefaultPool pool;
  PPortRegistry registry;
  platform::MidiLoopback* loop = nullptr;
  Ref<PMmeMidiDevice> device;
  Listener listener;
  Ref<PMidiInput> input = make<PMidiInput>(nullptr, "consumer", "extern");
};

/// An out socket over the sink, pumped by the test: no scheduler runs.
class MmeMidiOutSocket : public testing::Test {
protected:
  MmeMidiOutSocket()
  {
    auto owned = std::make_unique<SinkSystem>();
    sink = owned.get();
    device = make<PMmeMidiDevice>(std::move(owned));
    socket = static_cast<PMmeMidiOutSocket*>(device->inputAt(0));
    socket->activate();
    output->connect(socket);
  }
  ~MmeMidiOutSocket() override { output->disconnectAll(); }
  void send(Bytes bytes, double time = -1.0)
  {
    PMidiEvent event(bytes[0], bytes[1], bytes[2]);
    event.setTime(time);
    output->send(event);
  }
  void sendSysex(const Bytes& bytes)
  {
    auto sysex = make<PSysexEvent>();
    sysex->append(bytes.data(), static_cast<uint32_t>(bytes.size()));
    output->send(*sysex);
  }
  std::vector<size_t> takeSizes()
  {
    std::vector<size_t> sizes;
    for (const Bytes& bytes : sink->take())
      sizes.push_back(bytes.size());
    return sizes;
  }

  FDefaultPool pool;
  SinkSystem* sink = nullptr;
  Ref<PMmeMidiDevice> device;
  PMmeMidiOutSocket* socket = nullptr;
  Ref<PMidiOutput> output = make<PMidiOutput>(nullptr, "player", "extern");
};

Bytes sysexOf(size_t size)
{
  Bytes bytes(size, 7);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return bytes;
}

} // namespace

TEST_F(MmeMidiOutSocket, long_message_leaves_in_pieces_and_holds_up_all_but_real_time)
{
  sendSysex(sysexOf(300));
  send({0x90, 60, 100});
  send({0xF8, 0, 0});
  EXPECT_THAT(takeSizes(), ElementsAre(128, 3)); // the first piece and the clock
  sink->holdsDone = true;
  for (int pass = 0; pass < 4; ++pass)
    socket->pump(0.0);
  const std::vector<Bytes> rest = sink->take();
  ASSERT_EQ(rest.size(), 3u);
  EXPECT_EQ(rest[0].size(), 128u);
  EXPECT_EQ(rest[1].size(), 44u);
  EXPECT_EQ(rest[2], (Bytes{0x90, 60, 100}));
  EXPECT_FALSE(socket->hasWaiting());
}

TEST_F(MmeMidiOutSocket, ends_of_notes_get_through_when_it_closes_or_there_is_no_room)
{
  sendSysex(sysexOf(300));
  send({0x90, 60, 100});
  send({0x80, 60, 0});
  send({0x80, 61, 0});
  sendSysex(sysexOf(300));
  send({0xB0, 64, 0});
  send({0x80, 62, 0}, 9.0);
  sink->take();
  output->disconnectAll();
  EXPECT_THAT(sink->take(),
              ElementsAre(Bytes{0x80, 61, 0}, Bytes{0xB0, 64, 0}, Bytes{0x80, 62, 0}));
  output->connect(socket);
  EXPECT_FALSE(socket->hasWaiting());

  sink->isFull = true;
  send({0xB0, 7, 1});
  send({0xB0, 64, 0});
  send({0x80, 60, 0});
  send({0x90, 61, 1});
  socket->pump(0.0);
  sink->isFull = false;
  for (int pass = 0; pass < 3; ++pass)
    socket->pump(0.0);
  EXPECT_THAT(sink->take(),
              ElementsAre(Bytes{0xB0, 64, 0}, Bytes{0x80, 60, 0}, Bytes{0x90, 61, 1}));
  sink->isFull = true;
  for (int note = 0; note < 3; ++note)
    send({0x80, 60, 0});
  for (int pass = 0; pass < 1000 && socket->hasWaiting(); ++pass)
    socket->pump(0.0);
  EXPECT_FALSE(socket->hasWaiting()) << "a port that is dead isn't waited for";
}

TEST_F(MmeMidiOutSocket, message_without_its_beginning_gets_one)
{
  sendSysex({});
  Bytes data(200, 5);
  sendSysex(data);
  socket->pump(0.0);
  const std::vector<Bytes> sent = sink->take();
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0].front(), 0xF0);
  EXPECT_EQ(sent[0].size(), 128u);
  EXPECT_EQ(sent[1].size(), 200u - 127u);
}

TEST_F(MmeMidiOutSocket, waits_for_a_free_header_and_for_room_without_losing_bytes)
{
  sink->holdsDone = true;
  sendSysex(sysexOf(128 * 12));
  for (int pass = 0; pass < 20; ++pass)
    socket->pump(0.0);
  EXPECT_EQ(takeSizes().size(), 10u); // as many as there are headers
  sink->holdsDone = false;
  socket->deactivate(); // what was under way is given up
  socket->activate();
  sendSysex(sysexOf(300));
  EXPECT_THAT(takeSizes(), ElementsAre(128));
  sink->isFull = true;
  socket->pump(0.0);
  sink->isFull = false;
  socket->pump(0.0);
  socket->pump(0.0);
  EXPECT_THAT(takeSizes(), ElementsAre(128, 44));
}

TEST_F(MmeMidiOutSocket, all_notes_off_keeps_ends_of_notes_behind_a_long_message)
{
  sendSysex(sysexOf(200));
  send({0x80, 60, 0});
  send({0xB0, 64, 0});
  send({0x90, 61, 100});
  send({0x80, 61, 0});
  sink->take();
  send({0xB0, 123, 0});
  for (int pass = 0; pass < 5; ++pass)
    socket->pump(0.0);
  const std::vector<Bytes> sent = sink->take();
  ASSERT_EQ(sent.size(), 4u);
  EXPECT_EQ(sent[1], (Bytes{0x80, 60, 0}));
  EXPECT_EQ(sent[2], (Bytes{0xB0, 64, 0}));
  EXPECT_EQ(sent[3], (Bytes{0xB0, 123, 0}));
}

TEST_F(MmeMidiDevice, ports_are_known_by_name_kind_and_an_id_that_stays)
{
  makeDevice({"Keys", "Time Base"});
  loop->plug("Synth", true);
  EXPECT_TRUE(device->rescan());
  EXPECT_FALSE(device->rescan());
  auto* keys = static_cast<PMmeMidiInSocket*>(device->findOutput("Keys"));
  auto* own = device->findOutput("Synth");
  ASSERT_TRUE(keys && own);
  EXPECT_TRUE(keys->isSubtype("system"));
  EXPECT_TRUE(own->isSubtype("virtual"));
  EXPECT_TRUE(keys->isVisible());
  EXPECT_FALSE(device->findOutput("Time Base")->isVisible());
  EXPECT_EQ(device->countInputs(), 3);
  const FUID kept = keys->portUID();
  EXPECT_NE(kept, static_cast<PMmeMidiOutSocket*>(device->findInput("Keys"))->portUID());
  device = {};
  makeDevice({"Keys"});
  EXPECT_EQ(static_cast<PMmeMidiInSocket*>(device->findOutput("Keys"))->portUID(), kept);
}

TEST_F(MmeMidiDevice, events_come_with_the_time_of_the_clock_that_is_chosen)
{
  makeDevice({"Keys"});
  device->findOutput("Keys")->connect(input.get());
  const double begin = platform::MidiSystem::milliseconds() / 1000.0;
  loop->setStamp(5000);
  play("Keys", {0x93, 60, 100, 0xFE, 61, 99, 0xF0, 1, 0xF8, 2, 0xF7});
  ASSERT_EQ(listener.all.size(), 4u);
  EXPECT_EQ(listener.all[1].bytes, (Bytes{0x93, 61, 99}));
  EXPECT_EQ(listener.all[2].bytes[0], 0xF8);
  EXPECT_EQ(listener.all[3].bytes, (Bytes{0xF0, 1, 2, 0xF7}));
  for (const Listener::Heard& heard : listener.all) {
    EXPECT_NEAR(heard.time, begin + 5.0, 1.0);
    EXPECT_TRUE(heard.flags & eventFromSystem);
  }
  listener.take();
  device->useSystemTimestamp().setInt(1);
  play("Keys", {0x80, 60, 0, 0x80, 61, 0});
  EXPECT_NEAR(listener.all[0].time, begin, 1.0);
  device = {};
  makeDevice({"Keys"});
  EXPECT_TRUE(device->stampsByArrival());
}

TEST_F(MmeMidiDevice, port_that_goes_ends_its_notes_and_comes_back_as_it_was)
{
  makeDevice({"Keys", "Pads"});
  device->findOutput("Keys")->connect(input.get());
  device->findOutput("Pads")->connect(input.get());
  device->findOutput("Keys")->setUserName("My keys");
  play("Keys", {0x90, 60, 100, 64, 100, 0x80, 60, 0, 0x91, 70, 90, 0xB1, 64, 127, 0xB0, 66, 9});
  play("Keys", {0xB0, 69, 127, 0x99, 36, 100}); // the last is another's, too
  play("Pads", {0x99, 36, 100});
  listener.take();
  loop->unplug("Keys");
  EXPECT_TRUE(device->rescan());
  EXPECT_THAT(listener.take(), ElementsAre(Bytes{0x80, 64, 0}, Bytes{0xB0, 69, 0},
                                           Bytes{0x81, 70, 0}, Bytes{0xB1, 64, 0}));
  EXPECT_FALSE(device->findOutput("Keys"));
  EXPECT_EQ(input->countConnections(), 1);
  play("Pads", {0x89, 36, 0}); // whose place in the list is another one now
  EXPECT_EQ(listener.take().size(), 1u);

  loop->plug("Keys");
  EXPECT_TRUE(device->rescan());
  POutput* back = device->findOutput("Keys");
  ASSERT_TRUE(back);
  EXPECT_EQ(back->getUserName(), "My keys");
  back->connect(input.get());
  play("Keys", {0x90, 1, 2, 0x90, 2, 2});
  play("Pads", {0x90, 2, 2});
  EXPECT_EQ(listener.take().size(), 3u);

  loop->unplug("Keys"); // and back before anybody looks, with a key that another holds on
  loop->plug("Keys");
  device->rescan();
  EXPECT_EQ(device->findOutput("Keys"), back);
  EXPECT_THAT(listener.take(), ElementsAre(Bytes{0x80, 1, 0}));
  play("Keys", {0x90, 3, 4});
  EXPECT_EQ(listener.take().size(), 1u);
}

TEST_F(MmeMidiDevice, port_whose_connection_is_taken_away_ends_its_notes_and_is_opened_anew)
{
  makeDevice({"Keys"});
  device->findOutput("Keys")->connect(input.get());
  play("Keys", {0x90, 60, 100, 0xB0, 64, 127});
  listener.take();
  loop->cut("Keys");
  EXPECT_THAT(listener.take(), ElementsAre(Bytes{0x80, 60, 0}, Bytes{0xB0, 64, 0}));
  EXPECT_FALSE(device->rescan());
  play("Keys", {0x90, 61, 100});
  EXPECT_THAT(listener.take(), ElementsAre(Bytes{0x90, 61, 100}));
}

TEST_F(MmeMidiDevice, ids_of_ports_that_do_not_come_any_more_are_forgotten)
{
  makeDevice({"Keys"});
  FDefaults* settings = pool.getGroup("Loopback MIDI");
  PPortUIDs(settings).take("Input first");
  for (size_t i = 0; i < PPortUIDs::mostKept; ++i)
    PPortUIDs(settings).take("Input " + std::to_string(i));
  EXPECT_FALSE(settings->has("PortUID Input first"));
  EXPECT_FALSE(settings->has("PortUID Input Keys"));
  EXPECT_TRUE(settings->has("PortUID Input 0"));
}

TEST_F(MmeMidiDevice, queued_events_leave_by_themselves_and_senders_may_come_and_go)
{
  makeDevice({"Loop"});
  auto* out = static_cast<PMmeMidiOutSocket*>(device->findInput("Loop"));
  device->findOutput("Loop")->connect(input.get());
  auto player = make<PMidiOutput>(nullptr, "player", "extern");
  player->connect(out);
  PMidiEvent note(0x90, 60, 100);
  note.setTime(platform::MidiSystem::milliseconds() / 1000.0 + 0.02);
  note.setLength(0.02);
  player->send(note);
  for (int i = 0; i < 500 && (out->hasWaiting() || i == 0); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_THAT(listener.take(), ElementsAre(Bytes{0x90, 60, 100}, Bytes{0x80, 60, 0}));

  constexpr int rounds = 200;
  std::atomic<bool> sends{true};
  Crowd senders(2, [&] {
    while (sends) {
      PMidiEvent event(0xB0, 7, 1);
      event.setTime(1.0);
      player->send(event);
    }
  });
  for (int round = 0; round < rounds; ++round) {
    player->disconnect(out);
    player->connect(out);
    if (round % 20 == 0) {
      device->deactivate();
      device->activate();
    }
  }
  sends = false;
  senders.join();
  FMessage lower("UpdatePriority");
  EXPECT_EQ(device->handleMessage(lower), 1);
  player->disconnectAll();
}

TEST_F(MmeMidiDevice, port_that_does_not_open_stays_silent_until_it_is_wanted_again)
{
  makeDevice({"Keys"});
  loop->refuseOpening(true);
  auto* keys = static_cast<PMmeMidiInSocket*>(device->findOutput("Keys"));
  keys->connect(input.get());
  EXPECT_FALSE(keys->isOpened());
  loop->refuseOpening(false);
  device->deactivate();
  device->activate();
  EXPECT_TRUE(keys->isOpened());
  play("Keys", {0x90, 1, 2});
  EXPECT_EQ(listener.take().size(), 1u);
}
