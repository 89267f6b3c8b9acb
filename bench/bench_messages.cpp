// A million messages posted by another thread and delivered on this one, beside the same through
// GLib's idle sources and main loop.
#include "foundation/messenger.h"

#include <benchmark/benchmark.h>
#include <thread>
#ifdef ORBI_HAVE_GLIB
#include <glib.h>
#endif

using namespace orbi;

namespace {

constexpr int64_t messageCount = 1000000;

class Counter final : public CmObject {
public:
  int32_t handleMessage(FMessage&) override
  {
    ++received;
    return 1;
  }
  int64_t received = 0;
};

void messengerPosts(benchmark::State& state)
{
  FMessenger messenger;
  for (auto _ : state) {
    Counter counter;
    std::thread poster([&] {
      for (int64_t i = 0; i < messageCount; ++i)
        messenger.post(&counter, new FMessage("Idle"));
    });
    while (counter.received < messageCount) {
      if (!messenger.isPending(nullptr))
        std::this_thread::yield();
      messenger.dispatch();
    }
    poster.join();
  }
  state.SetItemsProcessed(state.iterations() * messageCount);
}
BENCHMARK(messengerPosts)->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef ORBI_HAVE_GLIB
struct IdleCount {
  GMainLoop* loop;
  int64_t received;
};

gboolean countIdle(gpointer data)
{
  auto* count = static_cast<IdleCount*>(data);
  if (++count->received == messageCount)
    g_main_loop_quit(count->loop);
  return G_SOURCE_REMOVE;
}

void glibIdleAdds(benchmark::State& state)
{
  for (auto _ : state) {
    IdleCount count{g_main_loop_new(nullptr, FALSE), 0};
    std::thread poster([&] {
      for (int64_t i = 0; i < messageCount; ++i)
        g_idle_add(countIdle, &count);
    });
    g_main_loop_run(count.loop);
    poster.join();
    g_main_loop_unref(count.loop);
  }
  state.SetItemsProcessed(state.iterations() * messageCount);
}
BENCHMARK(glibIdleAdds)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

} // namespace
