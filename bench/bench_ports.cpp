// A registry of so many ports, and an event's way over a connection. With 1,000 ports registering
// is to take less than 20 us, finding 10 us and collecting 100 us; sending to one input that does
// nothing a few nanoseconds.
#include "foundation/messenger.h"
#include "studio/device.h"
#include "studio/event.h"
#include "studio/port.h"
#include "studio/port_filter.h"
#include "studio/port_order.h"
#include "studio/port_registry.h"

#include <benchmark/benchmark.h>
#include <string>
#include <vector>

using namespace orbi;

namespace {

class Socket final : public PMultiOutput {
public:
  using PMultiOutput::PMultiOutput;
  const char* getType() const override { return "midi"; }
  const char* getSubtype() const override { return systemPortKind; }
};

class Sink final : public PMultiInput {
public:
  bool receive(PEvent&) override { return true; }
};

/// Devices of the same kind, so that only their own names tell their ports apart.
class Studio {
public:
  Studio(int64_t ports, int64_t portsOfDevice)
  {
    for (int64_t i = 0; i < ports; ++i) {
      if (i % portsOfDevice == 0)
        devices_.push_back(make<PDevice>("System MIDI " + std::to_string(i)));
      const std::string name = "MIDI Port " + std::to_string(i % portsOfDevice);
      auto socket = make<Socket>(devices_.back().get(), CmString(name));
      devices_.back()->addOutput(socket, PDevice::Registration::registered);
      last = socket.get();
    }
    last->getID(lastID);
  }

  Ref<PPortRegistry> registry = make<PPortRegistry>();
  PPort* last = nullptr;
  CmString lastID;

private:
  std::vector<Ref<PDevice>> devices_;
};

/// Both with the settings that the port got when it left.
void registerAndUnregister(benchmark::State& state)
{
  Studio studio(state.range(0), state.range(1));
  for (auto _ : state) {
    studio.registry->unregisterPort(studio.last);
    studio.registry->registerPort(studio.last);
  }
}
BENCHMARK(registerAndUnregister)->Args({1000, 10})->Args({1000, 1});

void findLastPort(benchmark::State& state)
{
  Studio studio(state.range(0), state.range(1));
  for (auto _ : state)
    if (studio.registry->findPort(studio.lastID.text()) != studio.last)
      state.SkipWithError("found another port");
}
BENCHMARK(findLastPort)->Args({1000, 10})->Args({1000, 1});

void findUnknownPort(benchmark::State& state)
{
  Studio studio(state.range(0), state.range(1));
  studio.lastID.set("I|System MIDI 1000|MIDI Port 0");
  for (auto _ : state)
    if (studio.registry->findPort(studio.lastID.text()))
      state.SkipWithError("found one");
}
BENCHMARK(findUnknownPort)->Args({1000, 10})->Args({1000, 1});

void collectPorts(benchmark::State& state)
{
  Studio studio(state.range(0), 10);
  PPortFilter filter;
  filter.direction = PortDirection::outputs;
  filter.type = "midi";
  for (const char* kind : {"merged", "virtual", systemPortKind})
    filter.addSubtype(kind);
  for (auto _ : state) {
    CmArray list;
    if (!studio.registry->collectPorts(filter, list))
      state.SkipWithError("no ports");
  }
}
BENCHMARK(collectPorts)->Arg(1000);

/// To so many inputs, also from two threads over one output.
void send(benchmark::State& state)
{
  static Ref<Socket> output;
  if (state.thread_index() == 0) {
    output = make<Socket>();
    for (int64_t i = 0; i < state.range(0); ++i)
      output->connect(make<Sink>().get());
  }
  PEvent event;
  for (auto _ : state)
    output->send(event);
  if (state.thread_index() == 0)
    output->disconnectAll();
}
BENCHMARK(send)->Arg(0)->Arg(1)->Arg(8);
BENCHMARK(send)->Arg(1)->Threads(2);

void connectAndDisconnect(benchmark::State& state)
{
  auto output = make<Socket>();
  auto sink = make<Sink>();
  for (auto _ : state) {
    output->connect(sink.get());
    output->disconnect(sink.get());
  }
}
BENCHMARK(connectAndDisconnect);

} // namespace
