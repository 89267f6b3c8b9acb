// Live MIDI, from the system's call to the plug-in's list and from a queue to the system.
#include "host/midi_input.h"
#include "midi/merged_input.h"
#include "midi/mme_midi_device.h"
#include "persist/default_pool.h"
#include "platform/clock.h"
#include "studio/port_registry.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

using namespace orbi;

// What the program's allocations go through, operator new's as well.
extern "C" void* __libc_malloc(size_t bytes);
static thread_local long allocations = 0;
extern "C" void* malloc(size_t bytes)
{
  ++allocations;
  return __libc_malloc(bytes);
}

namespace {

// ---- from one of 16 system inputs to a consumer -------------------------------------------------

// Straight, and through the device that gathers all inputs, from one thread and from several at
// once. The way through it is to cost no more than twice the straight one.

constexpr int64_t inputs = 16;

class Consumer final : public IMidiListener {
public:
  void midiReceived(int32_t, PEvent& event, PMidiInput&) override
  {
    benchmark::DoNotOptimize(&event);
  }
};

class Studio {
public:
  Studio()
  {
    input->setListener(&consumer);
    for (int64_t i = 0; i < inputs; ++i) {
      const CmString name(("MIDI Port " + std::to_string(i)).c_str());
      sources.push_back(make<PMidiOutput>(system.get(), name, systemPortKind));
      system->addOutput(sources.back(), PDevice::Registration::registered);
    }
  }
  ~Studio()
  {
    merged->deactivate();
    input->disconnectAll();
  }

  Ref<PPortRegistry> registry = make<PPortRegistry>();
  Ref<PDevice> system = make<PDevice>("System MIDI");
  Ref<PMergedMidiInput> merged = make<PMergedMidiInput>();
  std::vector<Ref<PMidiOutput>> sources;
  Consumer consumer;
  Ref<PMidiInput> input = make<PMidiInput>(nullptr, "Consumer", "test");
};

enum class Way { straight, merged };

/// Each thread is another of the system's.
template <Way way>
void send(benchmark::State& state)
{
  static Studio* studio = nullptr;
  if (state.thread_index() == 0) {
    studio = new Studio;
    if (way == Way::merged) {
      studio->merged->activate();
      studio->merged->output().connect(studio->input.get());
    } else {
      for (const Ref<PMidiOutput>& source : studio->sources)
        source->connect(studio->input.get());
    }
  }
  PMidiEvent event(0x90, 60, 100);
  for (auto _ : state)
    studio->sources[static_cast<size_t>(state.thread_index())]->send(event);
  if (state.thread_index() == 0)
    delete studio;
}
BENCHMARK(send<Way::straight>)->Threads(1)->Threads(2);
BENCHMARK(send<Way::merged>)->Threads(1)->Threads(2);

// ---- through the sockets of a system's device ---------------------------------------------------

/// A family with a port in each direction that does nothing: what is measured is above it.
class IdleSystem final : public platform::MidiSystem {
public:
  struct Input final : platform::MidiInputPort {
    void addBuffer(platform::MidiBuffer&) override {}
    bool start() override { return true; }
    void reset() override {}
  };
  struct Output final : platform::MidiOutputPort {
    explicit Output(long& ofAll) : count(ofAll) {}
    bool shortMessage(uint32_t) override { return ++count > 0; }
    bool longMessage(platform::MidiBuffer&) override { return false; }
    long& count;
  };

  const char* name() const override { return "Idle MIDI"; }
  bool rescan() override { return replacePorts({{"in", false}}, {{"out", false}}); }
  std::unique_ptr<platform::MidiInputPort> openInput(size_t,
                                                     platform::IMidiInputHandler& to) override
  {
    handler = &to;
    return std::make_unique<Input>();
  }
  std::unique_ptr<platform::MidiOutputPort> openOutput(size_t,
                                                       platform::IMidiOutputHandler&) override
  {
    return std::make_unique<Output>(sent);
  }
  void setChangeHandler(std::function<void()>) override {}
  void idle() override {}

  platform::IMidiInputHandler* handler = nullptr; ///< of the open input
  long sent = 0;                                  ///< messages
};

class SystemDevice {
public:
  SystemDevice()
  {
    auto owned = std::make_unique<IdleSystem>();
    system = owned.get();
    device = make<PMmeMidiDevice>(std::move(owned));
  }

  FDefaultPool pool;
  PPortRegistry registry;
  IdleSystem* system = nullptr;
  Ref<PMmeMidiDevice> device;
};

/// What a busy machine doesn't sway as it does the mean.
template <class Times>
double medianOf(Times& times)
{
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::ranges::nth_element(times, middle);
  return static_cast<double>(*middle);
}

// From the system's call to the event in the list that the plug-in is given, each by itself. At
// most 400 ns for the median; nothing may be allocated.
void arrive(benchmark::State& state)
{
  constexpr size_t warmUp = 1000;
  SystemDevice system;
  Ref<OrbiPlayerMidiInput> input = make<OrbiPlayerMidiInput>();
  system.device->activate();
  system.device->outputAt(0)->connect(&input->port());
  auto memory = std::make_unique<std::byte[]>(orbEventListBytes);
  auto& list = *new (memory.get()) OrbEventList{};
  OrbMidiEventRecord record{};
  list.events[0] = &record;

  std::vector<int64_t> times;
  times.reserve(static_cast<size_t>(state.max_iterations));
  auto play = [&](size_t number) { // keys go down and up in turn
    const uint32_t status = number & 1 ? 0x80 : 0x90;
    system.system->handler->shortData(status | (number / 2 & 127) << 8 | 64 << 16,
                                      static_cast<uint32_t>(number));
    return input->fillEventList(list, orbMaxEvents);
  };
  for (size_t i = 0; i < warmUp; ++i)
    play(i);
  const long before = allocations;
  int64_t missed = 0;
  for (auto _ : state) {
    const int64_t begin = platform::steadyNanoseconds();
    missed += play(times.size()) != 1;
    times.push_back(platform::steadyNanoseconds() - begin);
    state.SetIterationTime(static_cast<double>(times.back()) * 1e-9);
  }
  state.counters["allocations"] = static_cast<double>(allocations - before);
  state.counters["median_ns"] = medianOf(times);
  if (missed != 0)
    state.SkipWithError("an event didn't arrive with its block");
  system.device->outputAt(0)->disconnectAll();
}
BENCHMARK(arrive)->UseManualTime()->Iterations(1'000'000);

// A queue that is due as a whole, for each event; at most 60 ns. Ends of notes, since a queue takes
// twice as many of them as of others.
void pumpQueue(benchmark::State& state)
{
  constexpr int queued = 100'000;
  SystemDevice system;
  auto* socket = castTo<PMmeMidiOutSocket>(system.device->inputAt(0));
  auto player = make<PMidiOutput>(nullptr, "player", "test");
  socket->activate(); // without its device's scheduler
  player->connect(socket);
  std::vector<double> times;
  for (auto _ : state) {
    for (int i = 0; i < queued; ++i) {
      PMidiEvent event(0x80, static_cast<uint8_t>(i & 127), 64);
      event.setTime(1.0 + i * 1e-6);
      player->send(event);
    }
    system.system->sent = 0;
    const int64_t begin = platform::steadyNanoseconds();
    socket->pump(2.0);
    const int64_t end = platform::steadyNanoseconds();
    times.push_back(static_cast<double>(end - begin) / queued);
    state.SetIterationTime(times.back() * 1e-9);
    if (system.system->sent != queued)
      state.SkipWithError("the queue didn't go out");
  }
  state.counters["median_ns"] = medianOf(times);
  player->disconnectAll();
}
BENCHMARK(pumpQueue)->UseManualTime()->Iterations(30);

} // namespace
