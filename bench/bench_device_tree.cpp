// A device tree of 10000 nodes with four parameters each, wide and deep in several ways: a snapshot
// taken, the nodes stored and loaded, the snapshot restored. All four together are to take less
// than 100 ms, however many children one node has.
#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/dependencies.h"
#include "persist/owned_tree.h"
#include "studio/device_node.h"

#include <array>
#include <benchmark/benchmark.h>
#include <vector>

using namespace orbi;

namespace {

constexpr int64_t nodeCount = 10000;

class Strip final : public CmClass<Strip, PDeviceNode> {
public:
  static constexpr const char* className = "BenchStrip";

  explicit Strip(std::string_view name = {}) : CmClass(name) {}
  PParameterAnswer parameterRequest(const PParameterRequest& request) override
  {
    using enum PParameterQuestion;
    if (request.question == count)
      return static_cast<int32_t>(values_.size());
    const auto index = static_cast<size_t>(request.tag);
    if (request.question == tagAt)
      return request.tag;
    if (request.question == value && index < values_.size())
      return &values_[index];
    return {};
  }

private:
  struct Percent : UIntValue {
    Percent() : UIntValue(50, 0, 100) {}
  };
  std::array<Percent, 4> values_;
};
CM_REGISTER(Strip);

/// Level by level; all are given the same name.
Ref<Strip> newTree(int64_t width)
{
  auto top = make<Strip>("Top");
  std::vector<PDeviceNode*> nodes{top.get()};
  for (int64_t i = 0; i < nodeCount; ++i) {
    auto strip = make<Strip>("Channel");
    nodes[static_cast<size_t>(i / width)]->addChild(strip.get());
    nodes.push_back(strip.get());
  }
  return top;
}

Ref<FAttributes> storedTree(const PDeviceNode& top)
{
  auto attributes = make<FAttributes>();
  top.storeAttributes(*attributes);
  return ownTree(*attributes) ? attributes : nullptr; // all that is below, as in a file
}

void build(benchmark::State& state)
{
  for (auto _ : state)
    benchmark::DoNotOptimize(newTree(state.range(0)));
}

void storeSnapshot(benchmark::State& state)
{
  auto top = newTree(state.range(0));
  for (auto _ : state) {
    FAttributes snapshot;
    top->storeSnapshot(snapshot);
  }
}

void restoreSnapshot(benchmark::State& state)
{
  FDependencies dependencies;
  auto top = newTree(state.range(0));
  FAttributes snapshot;
  top->storeSnapshot(snapshot);
  for (auto _ : state)
    if (!top->restoreSnapshot(snapshot))
      state.SkipWithError("not restored");
}

void storeAttributes(benchmark::State& state)
{
  auto top = newTree(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(storedTree(*top));
}

void loadAttributes(benchmark::State& state)
{
  auto top = newTree(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    auto attributes = storedTree(*top);
    state.ResumeTiming();
    auto loaded = make<Strip>();
    if (!loaded->loadAttributes(*attributes))
      state.SkipWithError("not loaded");
  }
}

/// As the writer of a file does it.
void storeEach(const PDeviceNode& node)
{
  FAttributes attributes;
  node.storeAttributes(attributes);
  for (int32_t i = 0; i < node.countChildren(); ++i)
    storeEach(static_cast<const PDeviceNode&>(*node.childAt(i)));
}

void allFour(benchmark::State& state)
{
  FDependencies dependencies;
  auto top = newTree(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    auto attributes = storedTree(*top);
    state.ResumeTiming();
    FAttributes snapshot;
    top->storeSnapshot(snapshot);
    storeEach(*top);
    auto loaded = make<Strip>();
    if (!loaded->loadAttributes(*attributes) || !loaded->restoreSnapshot(snapshot))
      state.SkipWithError("not the same");
  }
}

#define DEVICE_TREE_BENCHMARK(name)                                                                \
  BENCHMARK(name)                                                                                  \
      ->ArgName("children")                                                                        \
      ->Arg(4)                                                                                     \
      ->Arg(100)                                                                                   \
      ->Arg(nodeCount)                                                                             \
      ->Unit(benchmark::kMillisecond)
DEVICE_TREE_BENCHMARK(build);
DEVICE_TREE_BENCHMARK(storeSnapshot);
DEVICE_TREE_BENCHMARK(restoreSnapshot);
DEVICE_TREE_BENCHMARK(storeAttributes);
DEVICE_TREE_BENCHMARK(loadAttributes);
DEVICE_TREE_BENCHMARK(allFour);

} // namespace
