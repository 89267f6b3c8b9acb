// The audio path between a plug-in that does nothing and a driver that plays nothing.
#include "shared/host_rig.h"

#include "platform/clock.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <random>

using namespace orbi;

namespace {

constexpr int32_t frames = 64;

void prepare(HostRig& rig, int outputs)
{
  rig.driver->frames = frames;
  rig.plugin->numOutputs = outputs;
  rig.plugin->doesNothing = true;
  rig.start();
  for (int output = 0; output < outputs; ++output)
    rig.bridge->outputs().set(output, output & 1);
}

// From the driver's call to its return, conversion included.
void oneBlock(benchmark::State& state)
{
  HostRig rig;
  prepare(rig, static_cast<int>(state.range(0)));
  auto bufferSwitch = rig.driver->callbacks.bufferSwitch;
  int32_t half = 0;
  for (auto _ : state)
    bufferSwitch(half ^= 1, 1);
}
BENCHMARK(oneBlock)->Arg(2)->Arg(128);

// A block with events less a block without, each event from the input's list to the plug-in's.
void eventsOfABlock(benchmark::State& state)
{
  HostRig rig;
  prepare(rig, 2);
  auto bufferSwitch = rig.driver->callbacks.bufferSwitch;
  for (auto _ : state) {
    for (int i = 0; i < orbMaxEvents; ++i) {
      PMidiEvent event(i & 1 ? 0x80 : 0x90, static_cast<uint8_t>(i / 2 & 127), 64);
      rig.input->receive(event);
    }
    int64_t begin = platform::steadyNanoseconds();
    bufferSwitch(0, 1);
    int64_t end = platform::steadyNanoseconds();
    state.SetIterationTime(static_cast<double>(end - begin) * 1e-9 / int(orbMaxEvents));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(eventsOfABlock)->UseManualTime()->Iterations(300);

// ---- conversion, time for each sample ----

constexpr int32_t convertedFrames = 256;

std::vector<float> loudSamples()
{
  std::mt19937 random(1);
  std::uniform_real_distribution<float> level(-1.1f, 1.1f);
  std::vector<float> samples(convertedFrames);
  std::generate(samples.begin(), samples.end(), [&] { return level(random); });
  return samples;
}

template <class Convert>
void convertBlocks(benchmark::State& state, Convert convert)
{
  std::vector<float> samples = loudSamples();
  std::vector<uint32_t> target(convertedFrames);
  for (auto _ : state) {
    convert(samples.data(), target.data());
    benchmark::DoNotOptimize(target.data());
    benchmark::ClobberMemory();
  }
  state.counters["ns_per_sample"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * convertedFrames * 1e-9,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void kernel(benchmark::State& state, ConvertKernel AudioKernels::*which)
{
  convertBlocks(state, [convert = audioKernels().*which](const float* source, void* target) {
    convert(source, target, convertedFrames, 0);
  });
}
BENCHMARK_CAPTURE(kernel, int16, &AudioKernels::toInt16);
BENCHMARK_CAPTURE(kernel, packed24, &AudioKernels::toInt24);
BENCHMARK_CAPTURE(kernel, int32, &AudioKernels::toInt32);
BENCHMARK_CAPTURE(kernel, swapped32, &AudioKernels::toInt32Swapped);

// What a plain loop takes, for comparison.
__attribute__((optimize("no-tree-vectorize"))) void plainInt32(const float* source, void* target)
{
  auto* samples = static_cast<int32_t*>(target);
  for (int32_t i = 0; i < convertedFrames; ++i) {
    float x = source[i];
    x = x > 1.0f ? 1.0f : x < -1.0f ? -1.0f : x;
    samples[i] = static_cast<int32_t>(static_cast<double>(x) * 2147483647.0);
  }
}

void plainLoop(benchmark::State& state)
{
  convertBlocks(state, plainInt32);
}
BENCHMARK(plainLoop);

// ---- events ----

// In the order of time, behind a thousand others.
void insertEvent(benchmark::State& state)
{
  constexpr int batch = 1000;
  std::vector<Ref<PMidiEvent>> events;
  for (int i = 0; i < batch; ++i) {
    events.push_back(make<PMidiEvent>(uint8_t(0x90), uint8_t(60), uint8_t(64)));
    events.back()->setTime(i);
  }
  PEventQueue queue;
  for (auto _ : state) {
    int64_t begin = platform::steadyNanoseconds();
    for (const Ref<PMidiEvent>& event : events)
      queue.insertEvent(event.get());
    int64_t end = platform::steadyNanoseconds();
    queue.removeAll();
    state.SetIterationTime(static_cast<double>(end - begin) * 1e-9 / batch);
  }
}
BENCHMARK(insertEvent)->UseManualTime()->Iterations(20000);

void poolAllocateAndRelease(benchmark::State& state)
{
  PEventPool::instance().prepare(16);
  for (auto _ : state) {
    void* block = PEventPool::instance().allocate();
    benchmark::DoNotOptimize(block);
    PEventPool::instance().release(block);
  }
}
BENCHMARK(poolAllocateAndRelease);

} // namespace
