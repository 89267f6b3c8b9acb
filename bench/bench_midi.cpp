// An event's way from one of 16 system inputs to a consumer: straight, and through the device that
// gathers all inputs, from one thread and from several at once. The way through it is to cost no
// more than twice the straight one.
#include "midi/merged_input.h"
#include "studio/port_registry.h"

#include <benchmark/benchmark.h>
#include <string>
#include <vector>

using namespace orbi;

namespace {

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

} // namespace
