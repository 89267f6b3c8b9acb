#ifdef ORBI_HAVE_JACK

#include "platform/midi_ear.h"
#include "shared/jack_server.h"

#include <gtest/gtest.h>
#include <jack/jack.h>
#include <jack/midiport.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <optional>

using namespace orbi::platform;

#if defined(__SANITIZE_THREAD__)
// The server puts the clients' cycles in order through shared memory, which the sanitizer can't
// see.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions()
{
  return "race:playAndHear\n";
}
#endif

namespace {

using Lines = std::vector<std::string>;

/// Another client, with an input that keeps what comes and an output that plays.
class JackPeer {
public:
  explicit JackPeer(const char* name)
  {
    const bool joined = waitFor([&] {
      jack_set_error_function([](const char*) {});
      jack_set_info_function([](const char*) {});
      return (client_ = jack_client_open(name, JackNoStartServer, nullptr)) != nullptr;
    });
    if (!joined)
      return;
    in_ = jack_port_register(client_, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    out_ = jack_port_register(client_, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    jack_set_process_callback(client_, &JackPeer::playAndHear, this);
    jack_activate(client_);
  }
  ~JackPeer()
  {
    if (client_)
      jack_client_close(client_);
  }
  JackPeer(const JackPeer&) = delete;
  JackPeer& operator=(const JackPeer&) = delete;

  jack_client_t* client() const { return client_; }

  /// Plays the messages in one cycle, as far apart as it has room for.
  static constexpr jack_nframes_t framesApart = 300;
  void play(const std::vector<Bytes>& messages)
  {
    playing_ = &messages;
    EXPECT_TRUE(waitFor([this] { return playing_ == nullptr; }));
  }
  Lines heard()
  {
    const std::lock_guard guard(mutex_);
    return heard_;
  }
  bool connected(const std::string& from, const std::string& to) const
  {
    return jack_connect(client_, from.c_str(), to.c_str()) == 0;
  }

private:
  static int playAndHear(jack_nframes_t frames, void* self)
  {
    auto& peer = *static_cast<JackPeer*>(self);
    void* out = jack_port_get_buffer(peer.out_, frames);
    jack_midi_clear_buffer(out);
    if (const auto* playing = peer.playing_.load()) {
      jack_nframes_t at = 0;
      for (const Bytes& message : *playing) {
        const jack_nframes_t time = std::min(framesApart * at++, frames - 1);
        std::ranges::copy(message, jack_midi_event_reserve(out, time, message.size()));
      }
      peer.playing_ = nullptr;
    }
    void* in = jack_port_get_buffer(peer.in_, frames);
    for (std::uint32_t i = 0; i < jack_midi_get_event_count(in); ++i) {
      jack_midi_event_t event{};
      jack_midi_event_get(&event, in, i);
      const std::lock_guard guard(peer.mutex_);
      peer.heard_.push_back(hex({event.buffer, event.size}));
    }
    return 0;
  }

  jack_client_t* client_ = nullptr;
  jack_port_t* in_ = nullptr;
  jack_port_t* out_ = nullptr;
  std::atomic<const std::vector<Bytes>*> playing_{nullptr};
  std::mutex mutex_;
  Lines heard_;
};

std::unique_ptr<MidiSystem> jackMidi()
{
  for (auto& system : makeMidiSystems("Tester"))
    if (system->name() == std::string("JACK MIDI"))
      return std::move(system);
  return nullptr;
}

template <typename Ports>
std::size_t indexOf(const Ports& ports, const std::string& name)
{
  const auto found = std::find_if(ports.begin(), ports.end(),
                                  [&](const MidiPortInfo& port) { return port.name == name; });
  return static_cast<std::size_t>(found - ports.begin());
}

std::size_t threadCount()
{
  const std::filesystem::directory_iterator threads("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

class JackMidi : public testing::Test {
protected:
  void SetUp() override
  {
    if (std::system("command -v jackd > /dev/null") != 0)
      GTEST_SKIP() << "jackd is not installed";
    server_.emplace();
    peer_.emplace("peer");
    ASSERT_NE(peer_->client(), nullptr);
    midi_->setChangeHandler([this] { ++notices_; });
    midi_->rescan();
  }
  /// As a program does that is told of changes.
  bool waitForPort(const std::string& name, bool isThere = true)
  {
    return waitFor([&] {
      midi_->idle();
      midi_->rescan();
      return (indexOf(midi_->inputs(), name) < midi_->inputs().size()) == isThere;
    });
  }
  std::unique_ptr<MidiInputPort> openInput(const std::string& name, MidiEar& ear)
  {
    auto input = midi_->openInput(indexOf(midi_->inputs(), name), ear);
    EXPECT_NE(input, nullptr);
    ear.listenTo(*input);
    EXPECT_TRUE(input->start());
    return input;
  }

  std::optional<JackServer> server_;
  std::optional<JackPeer> peer_;
  std::atomic<int> notices_{0};
  std::unique_ptr<MidiSystem> midi_ = jackMidi();
};

TEST_F(JackMidi, ports_of_others_are_listed_and_come_and_go_with_a_notice)
{
  ASSERT_EQ(midi_->inputs().size(), 2U);
  EXPECT_EQ(midi_->inputs()[0], (MidiPortInfo{"Tester In", true}));
  EXPECT_EQ(midi_->inputs()[1].name, "peer out");
  EXPECT_EQ(midi_->outputs()[1].name, "peer in");
  EXPECT_NE(jack_port_by_name(peer_->client(), "Tester MIDI:in"), nullptr) << "seen by others";

  notices_ = 0;
  midi_->rescan();
  jack_port_t* port =
      jack_port_register(peer_->client(), "Flügel", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
  EXPECT_TRUE(waitFor([&] { return notices_ == 1; }));
  EXPECT_TRUE(waitForPort("peer Flügel"));
  MidiEar ear;
  const auto input = openInput("peer Flügel", ear);
  midi_->rescan();
  EXPECT_EQ(midi_->outputs().size(), 2U) << "a connection's own port isn't offered";
  notices_ = 0;
  midi_->rescan();
  jack_port_unregister(peer_->client(), port);
  EXPECT_TRUE(waitFor([&] { return notices_ > 0; }));
  EXPECT_TRUE(waitForPort("peer Flügel", false));
}

TEST_F(JackMidi, a_port_that_went_and_came_back_between_two_looks_is_another_one)
{
  const std::vector<MidiPortInfo> before(midi_->inputs().begin(), midi_->inputs().end());
  EXPECT_FALSE(midi_->rescan());
  peer_.reset();
  peer_.emplace("peer");
  EXPECT_TRUE(waitFor([&] {
    return midi_->rescan() && midi_->inputs().size() == 2 &&
           midi_->inputs()[1].generation != before[1].generation;
  }));
  EXPECT_EQ(midi_->inputs()[1].name, before[1].name);
}

TEST_F(JackMidi, port_of_a_client_that_isnt_active_yet_is_connected_when_it_is)
{
  jack_deactivate(peer_->client());
  EXPECT_TRUE(waitForPort("peer out"));
  MidiEar ear;
  const auto input = openInput("peer out", ear);
  midi_->rescan();
  notices_ = 0;
  jack_activate(peer_->client());
  EXPECT_TRUE(waitFor([&] { return notices_ > 0; }));
  EXPECT_TRUE(waitFor([&] {
    midi_->rescan();
    peer_->play({{0xFA}});
    return !ear.lines().empty();
  }));
}

TEST_F(JackMidi, takes_part_in_cycles_only_while_something_is_connected)
{
  const auto restsWith = [&](std::size_t threads) {
    return waitFor([&] {
      midi_->rescan();
      return threadCount() == threads;
    });
  };
  const std::size_t resting = threadCount();
  MidiEar ear;
  const auto own = openInput("Tester In", ear);
  EXPECT_TRUE(restsWith(resting));
  MidiEar other;
  auto foreign = openInput("peer out", other);
  EXPECT_EQ(threadCount(), resting + 1);
  EXPECT_TRUE(peer_->connected("peer:out", "Tester MIDI:in"));
  foreign.reset();
  EXPECT_TRUE(waitFor([&] {
    midi_->rescan();
    peer_->play({{0xFA}});
    return !ear.lines().empty();
  }));
  jack_disconnect(peer_->client(), "peer:out", "Tester MIDI:in");
  EXPECT_TRUE(restsWith(resting));
}

TEST_F(JackMidi, what_comes_is_whole_in_order_and_stamped_by_its_frame)
{
  ASSERT_EQ(jack_set_buffer_size(peer_->client(), 1024), 0);
  MidiEar ear(2, 8192);
  const std::uint64_t before = jack_get_time();
  const auto input = openInput("peer out", ear);
  const Bytes small = sysexOf(300);
  const Bytes large = sysexOf(20000);
  for (const std::uint8_t time : {0, 1, 2}) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // away from the start
    peer_->play({{0x90, 60, time}, small, large, {0x80, 60, time}});
  }
  ASSERT_TRUE(waitFor([&] { return ear.lines().size() == 3 * 6; }));

  Bytes expected;
  for (std::size_t i = 0; i < 3; ++i) {
    expected.insert(expected.end(), small.begin(), small.end());
    expected.insert(expected.end(), large.begin(), large.end());
    EXPECT_EQ(ear.lines()[i * 6], "90 3c 0" + std::to_string(i) + " 00");
    EXPECT_EQ(ear.lines()[i * 6 + 5], "80 3c 0" + std::to_string(i) + " 00");
    const std::uint32_t apart = ear.stamps()[i * 6 + 5] - ear.stamps()[i * 6];
    EXPECT_NEAR(apart, 3 * JackPeer::framesApart / 48.0, 1.0) << "of one cycle";
  }
  EXPECT_EQ(ear.longBytes(), expected);
  const auto stamps = ear.stamps();
  EXPECT_TRUE(std::is_sorted(stamps.begin(), stamps.end()));
  EXPECT_LT(stamps.back(), (jack_get_time() - before) / 1000 + 1000) << "counted from the start";
}

TEST_F(JackMidi, what_goes_out_is_whole_in_order_and_done)
{
  DoneCounter done;
  auto output = midi_->openOutput(indexOf(midi_->outputs(), "peer in"), done);
  ASSERT_NE(output, nullptr);
  const Bytes large = sysexOf(20000);
  std::list<OwnBuffer> pieces;
  int notTaken = 0;
  for (std::size_t at = 0; at < large.size(); at += 128) {
    pieces.emplace_back(
        Bytes(large.begin() + long(at), large.begin() + long(std::min(at + 128, large.size()))));
    notTaken += !output->longMessage(pieces.back());
    if (at == 1280)
      notTaken += !output->shortMessage(0xF8); // overtakes what isn't complete
  }
  notTaken += !output->shortMessage(0x643C90);
  OwnBuffer small(sysexOf(300));
  notTaken += !output->longMessage(small);
  notTaken += !output->shortMessage(0x05C0);
  EXPECT_EQ(notTaken, 0);
  ASSERT_TRUE(waitFor([&] { return peer_->heard().size() == 5; }));
  EXPECT_EQ(peer_->heard(), (Lines{"f8", hex(large), "90 3c 64", hex(small.bytes), "c0 05"}));
  EXPECT_EQ(done.count, int(pieces.size()) + 1);
  EXPECT_FALSE(output->shortMessage(0xF4)) << "no message";
  EXPECT_TRUE(output->shortMessage(0x3C80));
  output.reset();
  EXPECT_TRUE(waitFor([&] { return peer_->heard().size() == 6; })) << "sent before it closed";
}

TEST_F(JackMidi, virtual_ports_carry_what_others_connect)
{
  MidiEar ear;
  DoneCounter done;
  auto input = openInput("Tester In", ear);
  EXPECT_EQ(midi_->openInput(0, ear), nullptr) << "open already";
  const auto output = midi_->openOutput(0, done);
  ASSERT_NE(output, nullptr);
  EXPECT_TRUE(peer_->connected("peer:out", "Tester MIDI:in"));
  EXPECT_TRUE(peer_->connected("Tester MIDI:out", "peer:in"));
  EXPECT_TRUE(waitFor([&] {
    midi_->rescan();
    peer_->play({{0xFE}});
    output->shortMessage(0x0102B0);
    return !ear.lines().empty() && !peer_->heard().empty();
  }));
  EXPECT_EQ(ear.lines()[0], "fe 00 00 00");
  EXPECT_EQ(peer_->heard()[0], "b0 02 01");
  EXPECT_TRUE(peer_->connected("Tester MIDI:out", "Tester MIDI:in")) << "who stays";
  peer_->play({{0xFE}});
  jack_disconnect(peer_->client(), "peer:out", "Tester MIDI:in");
  EXPECT_TRUE(waitFor([&] { return ear.lines().back() == "lost"; }));
  EXPECT_FALSE(input->isLost()) << "whoever likes may come back";
  input.reset();
  EXPECT_NE(midi_->openInput(0, ear), nullptr);
}

TEST_F(JackMidi, connection_that_somebody_takes_away_is_told_and_lets_the_port_be_opened_anew)
{
  MidiEar ear;
  auto input = openInput("peer out", ear);
  const auto plays = [&] {
    return waitFor([&] {
      peer_->play({{0x90, 60, 1}});
      return !ear.lines().empty() && ear.lines().back() == "90 3c 01 00";
    });
  };
  EXPECT_TRUE(plays());
  jack_disconnect(peer_->client(), "peer:out", "Tester MIDI:from peer-out");
  EXPECT_TRUE(waitFor([&] { return input->isLost(); }));
  EXPECT_EQ(ear.lines().back(), "lost");
  input.reset();
  input = openInput("peer out", ear);
  EXPECT_TRUE(plays());
  EXPECT_FALSE(input->isLost());

  DoneCounter done;
  const auto output = midi_->openOutput(indexOf(midi_->outputs(), "peer in"), done);
  ASSERT_NE(output, nullptr);
  EXPECT_TRUE(waitFor([&] {
    output->shortMessage(0x3C80);
    return !peer_->heard().empty();
  }));
  EXPECT_FALSE(output->isLost());
  jack_disconnect(peer_->client(), "Tester MIDI:to peer-in", "peer:in");
  EXPECT_TRUE(waitFor([&] { return output->isLost(); }));
}

TEST_F(JackMidi, server_that_dies_leaves_all_closable_and_one_that_starts_is_joined)
{
  for (const int signal : {SIGKILL, SIGTERM}) {
    MidiEar ear(2);
    DoneCounter done;
    auto input = openInput("peer out", ear);
    auto output = midi_->openOutput(0, done);
    ASSERT_NE(output, nullptr);
    notices_ = 0;
    midi_->rescan();
    server_->end(signal);
    EXPECT_TRUE(waitFor([&] { // a notice of the opening may still come
      if (notices_.exchange(0) > 0)
        midi_->rescan();
      return midi_->inputs().empty();
    }));
    peer_.reset();
    EXPECT_TRUE(midi_->outputs().empty());
    EXPECT_EQ(midi_->openInput(0, ear), nullptr);
    EXPECT_FALSE(output->shortMessage(0xF8));
    ear.keepBuffers();
    input->reset();
    const Lines told = ear.lines();
    EXPECT_EQ(told.size() - std::size_t(std::ranges::count(told, "lost")), 2U)
        << "the buffers come back";
    if (signal == SIGTERM) { // or stay open beside those on the next server
      input.reset();
      output.reset();
    }

    server_.reset();
    server_.emplace();
    EXPECT_TRUE(waitFor([&] { // while one of the end waits to be looked at, no other is told
      midi_->idle();
      if (notices_.exchange(0) > 0)
        midi_->rescan();
      return !midi_->inputs().empty();
    }));
    peer_.emplace("peer");
    EXPECT_TRUE(waitForPort("peer out"));
    MidiEar again;
    const auto reopened = openInput("peer out", again);
    EXPECT_TRUE(waitFor([&] { // the server makes the connection some cycles later
      peer_->play({{0xFA}});
      return !again.lines().empty();
    }));
  }
}

TEST(MidiSystems, are_silent_and_without_ports_where_nothing_is_there)
{
  const Variable nobody("JACK_DEFAULT_SERVER", "orbi_nobody");
  testing::internal::CaptureStderr();
  Lines names;
  for (const auto& system : makeMidiSystems("Tester")) {
    names.emplace_back(system->name());
    system->idle();
    system->rescan();
    system->idle();
    MidiEar ear;
    EXPECT_EQ(system->openInput(system->inputs().size(), ear), nullptr);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(names.back(), "JACK MIDI");
}

} // namespace

#endif
