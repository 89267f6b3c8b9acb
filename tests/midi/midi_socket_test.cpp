#include "midi/midi_interface.h"

#include "foundation/message.h"
#include "persist/default_pool.h"
#include "shared/crowd.h"

#include <gmock/gmock.h>

using namespace orbi;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Sent {
  int status;
  int data1;
  int data2;
  double time;
  bool operator==(const Sent&) const = default;
};
void PrintTo(const Sent& sent, std::ostream* out)
{
  *out << std::hex << sent.status << std::dec << ' ' << sent.data1 << ' ' << sent.data2 << " @"
       << sent.time;
}

class OutSocket final : public PMidiOutSocket {
public:
  explicit OutSocket(CmObject* owner = nullptr) : PMidiOutSocket(owner, "out") {}
  bool open() override
  {
    ++opens;
    setOpened(opensWell);
    return opensWell;
  }
  void close() override
  {
    ++closes;
    setOpened(false);
  }
  void sendNow(PMidiEvent& event) override
  {
    sent.push_back({event.status, event.data1, event.data2, event.getTime()});
  }
  std::vector<Sent> take() { return std::move(sent); }

  std::vector<Sent> sent;
  int opens = 0;
  int closes = 0;
  bool opensWell = true;
};

class InSocket final : public PMidiInSocket {
public:
  explicit InSocket(CmObject* owner = nullptr) : PMidiInSocket(owner, "in") {}
  using PMidiInSocket::assembleSysex, PMidiInSocket::sendPlayed;
  bool open() override
  {
    setOpened(true);
    return true;
  }
  void close() override
  {
    dropPartialSysex();
    setOpened(false);
  }
  bool connectThru(PMidiOutSocket&, int32_t from, int32_t to) override { return from == to; }
  void bring(std::initializer_list<uint8_t> bytes, double time = 1.0)
  {
    assembleSysex({bytes.begin(), bytes.size()}, time);
  }
};

/// Keeps the bytes of all system exclusive messages, and how many others came.
class Listener final : public IMidiListener {
public:
  void midiReceived(int32_t tag, PEvent& event, PMidiInput&) override
  {
    tags.push_back(tag);
    if (auto* sysex = castTo<PSysexEvent>(&event))
      messages.emplace_back(sysex->getData(), sysex->getData() + sysex->getSize());
    times.push_back(event.getTime());
  }
  std::vector<int32_t> tags;
  std::vector<std::vector<uint8_t>> messages;
  std::vector<double> times;
};

PMidiEvent event(int status, int data1, int data2, double time = -1.0, double length = 0.0)
{
  PMidiEvent made(static_cast<uint8_t>(status), static_cast<uint8_t>(data1),
                  static_cast<uint8_t>(data2));
  made.setTime(time);
  made.setLength(length);
  return made;
}

void give(PMidiOutSocket& socket, PMidiEvent given)
{
  EXPECT_TRUE(socket.receive(given));
}

} // namespace

TEST(MidiSocket, is_open_only_while_it_is_active_and_connected)
{
  auto socket = make<OutSocket>();
  auto first = make<PMidiOutput>(nullptr, "first", "system");
  auto second = make<PMidiOutput>(nullptr, "second", "system");
  first->connect(socket.get());
  EXPECT_EQ(socket->opens, 0);
  socket->activate();
  socket->activate();
  EXPECT_EQ(socket->opens, 1);
  second->connect(socket.get());
  first->disconnect(socket.get());
  EXPECT_TRUE(socket->isOpened());
  second->disconnect(socket.get());
  EXPECT_EQ(socket->closes, 1);

  socket->opensWell = false; // and isn't tried again before the next connection
  first->connect(socket.get());
  EXPECT_EQ(socket->opens, 2);
  EXPECT_FALSE(socket->isOpened());
  socket->opensWell = true;
  second->connect(socket.get());
  EXPECT_EQ(socket->opens, 3);
  socket->deactivate();
  EXPECT_EQ(socket->closes, 2);
  socket->disconnectAll();
  EXPECT_EQ(socket->closes, 2);
}

TEST(MidiOutSocket, sends_at_once_without_a_time_and_otherwise_when_it_is_due)
{
  auto socket = make<OutSocket>();
  EXPECT_EQ(socket->pump(5.0), PMidiOutSocket::nothingDue);
  PEvent other;
  EXPECT_FALSE(socket->receive(other));
  PMidiEvent marked = event(0x90, 60, 100);
  marked.flags |= eventTransient;
  EXPECT_TRUE(socket->receive(marked));
  EXPECT_FALSE(marked.flags & eventTransient);
  EXPECT_THAT(socket->take(), ElementsAre(Sent{0x90, 60, 100, -1.0})); // and no note off

  give(*socket, event(0xB0, 7, 2, 2.0));
  give(*socket, event(0xB0, 7, 1, 1.0));
  give(*socket, event(0xB0, 7, 3, 2.0));
  EXPECT_THAT(socket->take(), IsEmpty());
  EXPECT_EQ(socket->pump(1.0), 0.0); // due means past
  EXPECT_EQ(socket->pump(1.5), 1.0);
  EXPECT_THAT(socket->take(), ElementsAre(Sent{0xB0, 7, 1, 1.0}));
  EXPECT_EQ(socket->pump(2.5), PMidiOutSocket::nothingDue);
  EXPECT_THAT(socket->take(), ElementsAre(Sent{0xB0, 7, 2, 2.0}, Sent{0xB0, 7, 3, 2.0}));
}

TEST(MidiOutSocket, note_on_with_a_length_ends_by_itself)
{
  auto socket = make<OutSocket>();
  PMidiEvent note = event(0x95, 60, 100, 1.0, 0.5);
  note.data3 = 33;
  give(*socket, note);
  give(*socket, event(0x90, 61, 100, 0.0, 0.5)); // at no time of its own
  PMidiEvent endless = event(0x90, 62, 100, 1.0, 0.5);
  endless.flags |= eventNoAutoNoteOff;
  give(*socket, endless);
  give(*socket, event(0x90, 63, 0, 1.0, 1.0)); // whatever its velocity
  socket->pump(10.0);
  EXPECT_THAT(socket->take(), ElementsAre(Sent{0x90, 61, 100, 0.0}, Sent{0x95, 60, 100, 1.0},
                                          Sent{0x90, 62, 100, 1.0}, Sent{0x90, 63, 0, 1.0},
                                          Sent{0x85, 60, 33, 1.5}, Sent{0x80, 63, 0, 2.0}));
}

TEST(MidiOutSocket, all_notes_off_ends_what_sounds_and_forgets_what_would)
{
  auto socket = make<OutSocket>();
  give(*socket, event(0x90, 60, 100, 1.0, 5.0));
  socket->pump(2.0); // 60 sounds, its end waits
  give(*socket, event(0x90, 64, 100, 8.0, 1.0));
  give(*socket, event(0xB0, 7, 1, 7.0));
  socket->take();
  give(*socket, event(0xB0, 123, 0));
  EXPECT_THAT(socket->take(), ElementsAre(Sent{0x80, 60, 0, 1.1}, Sent{0xB0, 123, 0, -1.0}));
  EXPECT_EQ(socket->pump(100.0), PMidiOutSocket::nothingDue);
  EXPECT_THAT(socket->take(), IsEmpty());
}

TEST(MidiOutSocket, cancels_one_owners_events_without_hanging_notes)
{
  auto socket = make<OutSocket>();
  CmObject mine, others;
  auto giveOf = [&](CmObject& owner, PMidiEvent given) {
    given.ownerRef = &owner;
    give(*socket, given);
  };
  giveOf(mine, event(0x80, 60, 0, 3.0));
  giveOf(others, event(0x80, 61, 0, 3.0));
  giveOf(mine, event(0xB0, 7, 1, 2.0));
  socket->cancelQueued(&mine);
  EXPECT_THAT(socket->take(), ElementsAre(Sent{0x80, 60, 0, 0.1}));
  socket->pump(10.0);
  EXPECT_THAT(socket->take(), ElementsAre(Sent{0x80, 61, 0, 3.0}));
  giveOf(mine, event(0x80, 60, 0, 5.0));
  giveOf(others, event(0x90, 61, 9, 5.0));
  socket->cancelQueued(nullptr);
  EXPECT_EQ(socket->pump(10.0), PMidiOutSocket::nothingDue);
  EXPECT_THAT(socket->take(), ElementsAre(Sent{0x80, 60, 0, 3.1}, Sent{0x80, 61, 0, 3.1}));
}

TEST(MidiOutSocket, takes_events_of_many_threads_while_it_is_pumped)
{
  auto socket = make<OutSocket>();
  constexpr int threads = 3;
  constexpr int each = 300;
  std::atomic<int> running{threads};
  Crowd players(threads, [&] {
    for (int i = 0; i < each; ++i)
      give(*socket, event(0xB0, i & 127, 0, 1.0 + i));
    --running;
  });
  while (running > 0)
    socket->pump(1e6);
  players.join();
  socket->pump(1e6);
  EXPECT_EQ(socket->sent.size(), size_t(threads * each));
}

TEST(MidiInput, reset_speaks_to_the_channels_that_it_is_told)
{
  auto socket = make<OutSocket>();
  FMessage message("Reset MIDI");
  message.setInt("Channel", 3);
  EXPECT_EQ(socket->handleMessage(message), 1);
  EXPECT_THAT(socket->take(),
              ElementsAre(Sent{0xB2, 1, 0, -1.0}, Sent{0xB2, 2, 0, -1.0}, Sent{0xB2, 64, 0, -1.0},
                          Sent{0xB2, 121, 0, -1.0}, Sent{0xB2, 123, 0, -1.0},
                          Sent{0xD2, 0, 127, -1.0}, Sent{0xE2, 0, 64, -1.0}));
  message.setInt("Reduced", 1);
  EXPECT_EQ(socket->handleMessage(message), 1);
  EXPECT_THAT(socket->take(), ElementsAre(Sent{0xB2, 121, 0, -1.0}, Sent{0xB2, 123, 0, -1.0}));
  message.setInt("Channel", 0);
  socket->handleMessage(message);
  EXPECT_EQ(socket->take().size(), 32u);
  message.setInt("Channel", 17);
  socket->handleMessage(message);
  EXPECT_THAT(socket->take(), IsEmpty());
  FMessage unknown("Reset");
  EXPECT_EQ(socket->handleMessage(unknown), 0);
}

TEST(MidiInSocket, assembles_messages_over_any_pieces)
{
  auto socket = make<InSocket>();
  auto input = make<PMidiInput>(nullptr, "input", "system");
  Listener listener;
  input->setListener(&listener, 7);
  socket->connect(input.get());
  const std::vector<uint8_t> whole = {0xF0, 1, 2, 3, 0xF7};
  for (size_t cut = 0; cut <= whole.size(); ++cut) { // the time is that of its beginning
    socket->assembleSysex({whole.data(), cut}, 2.0);
    socket->assembleSysex({whole.data() + cut, whole.size() - cut}, cut == 0 ? 2.0 : 3.0);
  }
  EXPECT_THAT(listener.messages, testing::Each(whole));
  EXPECT_EQ(listener.messages.size(), whole.size() + 1);
  EXPECT_THAT(listener.times, testing::Each(2.0));
  EXPECT_THAT(listener.tags, testing::Each(7));

  listener.messages.clear();
  socket->bring({1, 2, 0xF7});                               // no beginning
  socket->bring({0xF0, 1, 0xF0, 2, 0xF8, 3, 0xFE, 4, 0xF7}); // interrupted; real-time bytes inside
  socket->bring({0xF0, 9});
  socket->disconnectAll(); // closed or not, nobody hears of it
  EXPECT_THAT(listener.messages, ElementsAre(std::vector<uint8_t>{0xF0, 2, 3, 4, 0xF7}));
}

TEST(MidiInSocket, input_that_leaves_while_a_player_plays_has_heard_the_end_of_each_note)
{
  struct Keys final : IMidiListener {
    void midiReceived(int32_t, PEvent& event, PMidiInput&) override
    {
      isDown = static_cast<PMidiEvent&>(event).getStatus() == 0x90;
    }
    std::atomic<bool> isDown{false};
  } keys;
  auto socket = make<InSocket>();
  auto input = make<PMidiInput>(nullptr, "input", "system");
  input->setListener(&keys);
  auto other = make<PMidiInput>(nullptr, "other", "system"); // keeps the port open
  socket->connect(other.get());
  std::atomic<bool> plays{true};
  Crowd player(1, [&] {
    while (plays)
      for (int status : {0x90, 0x80}) {
        PMidiEvent played = event(status, 60, 100);
        socket->sendPlayed(played);
      }
  });
  int hanging = 0;
  for (int round = 0; round < 300; ++round) {
    socket->connect(input.get());
    for (int i = 0; i < round % 50; ++i)
      std::this_thread::yield();
    socket->disconnect(input.get());
    hanging += keys.isDown;
  }
  plays = false;
  player.join();
  socket->disconnectAll();
  EXPECT_EQ(hanging, 0);
}

TEST(MidiInSocket, gives_up_a_message_that_never_ends)
{
  auto socket = make<InSocket>();
  auto input = make<PMidiInput>(nullptr, "input", "system");
  Listener listener;
  input->setListener(&listener);
  socket->connect(input.get());
  const std::vector<uint8_t> data(1 << 20, 5);
  socket->bring({0xF0});
  for (int i = 0; i < 3; ++i)
    socket->assembleSysex(data, 1.0);
  socket->bring({0xF7});
  ASSERT_EQ(listener.messages.size(), 1u);
  EXPECT_EQ(listener.messages[0].size(), 3 * data.size() + 2);
  socket->bring({0xF0});
  for (uint32_t size = 0; size <= PMidiInSocket::longestSysex; size += 1 << 20)
    socket->assembleSysex(data, 1.0);
  socket->bring({0xF7, 0xF0, 1, 0xF7});
  EXPECT_EQ(listener.messages.back().size(), 3u);
  EXPECT_EQ(listener.messages.size(), 2u);
  socket->disconnectAll();
}

TEST(MidiInterface, keeps_a_node_for_each_port_and_channel)
{
  auto device = make<PMidiInterface>("MIDI");
  auto out = make<OutSocket>(device.get());
  auto in = make<InSocket>(device.get());
  EXPECT_TRUE(device->addInput(out, PDevice::Registration::none));
  EXPECT_TRUE(device->addOutput(in, PDevice::Registration::none));
  auto* node = castTo<PMidiPortNode>(device->findNode(*in));
  ASSERT_TRUE(node);
  EXPECT_EQ(node->port(), in.get());
  EXPECT_EQ(node->countChildren(), 16);
  auto* channel = castTo<PMidiChannelNode>(device->findNode(*out, 15));
  ASSERT_TRUE(channel);
  EXPECT_EQ(channel->getName(), "Channel 16");
  EXPECT_EQ(channel->channel(), 15);
  auto anew = make<InSocket>(device.get()); // the same port after the system was asked again
  EXPECT_EQ(device->findNode(*anew), node);
  EXPECT_FALSE(device->findNode(*make<PMidiOutput>(nullptr, "another", "system")));

  FMessage thru("ConnectMidiThru");
  thru.setObject("Input", out.get());
  thru.setObject("Output", in.get());
  EXPECT_EQ(device->handleMessage(thru), 1);
  thru.setInt("SourceChannel", 3);
  EXPECT_EQ(device->handleMessage(thru), 0);
  thru.setObject("Output", out.get());
  thru.setInt("SourceChannel", 0);
  EXPECT_EQ(device->handleMessage(thru), 0);

  EXPECT_TRUE(device->removeOutput(in.get()));
  EXPECT_FALSE(device->removeOutput(in.get()));
  EXPECT_FALSE(device->findNode(*in));
  device->removeChild(device->findNode(*out));
  EXPECT_FALSE(device->removeInput(out.get()));
  EXPECT_EQ(device->countInputs(), 1);
}

TEST(MidiInterface, takes_the_labels_of_older_versions_once)
{
  FDefaultPool pool;
  auto device = make<PMidiInterface>("MIDI");
  auto out = make<OutSocket>(device.get());
  auto in = make<InSocket>(device.get());
  device->addInput(out, PDevice::Registration::none);
  device->addOutput(in, PDevice::Registration::none);
  FDefaults& settings = *pool.getGroup("MIDI");
  settings.setString("In in", "Keys");
  settings.setInt("Out Flags out", 1);
  settings.setInt("Other", 5);
  EXPECT_TRUE(device->activate());
  EXPECT_EQ(in->getUserName(), "Keys");
  EXPECT_TRUE(in->isVisible());
  EXPECT_FALSE(out->isVisible());
  EXPECT_FALSE(settings.has("In in") || settings.has("Out Flags out"));
  EXPECT_TRUE(settings.has("Other"));
  EXPECT_TRUE(device->deactivate());
}
