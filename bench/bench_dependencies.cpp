// A change told to dependents, each an object of its own.
#include "foundation/dependencies.h"
#include "foundation/ref.h"

#include <benchmark/benchmark.h>
#include <vector>

using namespace orbi;

namespace {

class Listener final : public CmObject {
public:
  void update(CmObject*, int32_t code) override { sum += code; }
  int64_t sum = 0;
};

void changedTellsDependents(benchmark::State& state)
{
  FDependencies dependencies;
  CmObject subject;
  std::vector<Ref<Listener>> listeners;
  for (int64_t i = 0; i < state.range(0); ++i) {
    listeners.push_back(make<Listener>());
    subject.addDependent(listeners.back().get());
  }
  for (auto _ : state)
    subject.changed(1);
  benchmark::DoNotOptimize(listeners.back()->sum);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(changedTellsDependents)->Arg(1)->Arg(100)->Arg(5000);

} // namespace
