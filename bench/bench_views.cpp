// Windows of the toolkit on the display of DISPLAY: what painting them takes, and how soon a click
// or a key arrives.
#include "platform/clock.h"
#include "ui/application.h"
#include "ui/views/basic/theme.h"
#include "ui/views/desktop.h"
#include "ui/views/windows.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <string>

using namespace orbi;

namespace {

constexpr Size windowSize{1000, 700};
constexpr int32_t columns = 20;
constexpr int32_t rows = 25;

class Application final : public CmClass<Application, UApplication> {
public:
  static constexpr const char* className = "BenchApplication";
  Application() : CmClass("bench_views") {}

protected:
  void startup() override {}
};

/// A cell as a panel is full of: a ground, a frame and a word.
class Cell final : public CmClass<Cell, UView> {
public:
  static constexpr const char* className = "BenchCell";
  Cell(const Rect& rect, std::string_view title) : CmClass(rect, title) {}

  void draw(Canvas& canvas, const Rect&) override
  {
    const UTheme& theme = UTheme::instance();
    canvas.fillRounded(bounds(), theme.radius, theme.button);
    canvas.frame(bounds(), theme.radius, 1.0, theme.border);
    canvas.text(title().view(), bounds(), theme.textStyle(theme.text));
    ++drawn;
  }

  static inline int64_t drawn = 0;
};

class Panel final : public CmClass<Panel, UDocWindow> {
public:
  static constexpr const char* className = "BenchPanel";
  Panel() : CmClass(Rect::at({20, 20}, windowSize), "bench_views")
  {
    const Size cell{windowSize.width / columns, windowSize.height / rows};
    for (int32_t i = 0; i < columns * rows; ++i) {
      const Point origin{i % columns * cell.width, i / columns * cell.height};
      last = &add(make<Cell>(Rect::at(origin, {cell.width - 2, cell.height - 2}),
                             "View " + std::to_string(i)));
    }
  }

  Cell* last = nullptr;
};

/// Application and window, for as long as a benchmark runs. Without a display nothing is measured.
struct Rig {
  explicit Rig(benchmark::State& state)
  {
    std::string reason;
    auto system = platform::openWindowSystem("bench_views", reason);
    if (!system) {
      state.SkipWithError(reason.c_str());
      return;
    }
    application->setWindowSystem(std::move(system));
    panel->open();
    const int64_t until = platform::steadyNanoseconds() + 300'000'000;
    while (platform::steadyNanoseconds() < until)
      application->handlePending();
  }
  ~Rig()
  {
    panel->closeNow();
    application->setWindowSystem(nullptr);
  }

  Ref<Application> application = make<Application>();
  Ref<Panel> panel = make<Panel>();
};

template <typename Change>
void paintEach(benchmark::State& state, const Change& change)
{
  Rig rig(state);
  if (!rig.panel->isOpen())
    return;
  const int64_t before = Cell::drawn;
  for (auto _ : state) {
    change(*rig.panel);
    rig.panel->system()->paintNow();
    rig.application->desktop()->system().pointer(); // comes back when all was copied
  }
  state.counters["views drawn"] = benchmark::Counter(static_cast<double>(Cell::drawn - before),
                                                     benchmark::Counter::kAvgIterations);
}

void wholeWindow(benchmark::State& state)
{
  paintEach(state, [](Panel& panel) { panel.invalidate(); });
}
BENCHMARK(wholeWindow)->Unit(benchmark::kMillisecond);

void oneView(benchmark::State& state)
{
  paintEach(state, [](Panel& panel) { panel.last->invalidate(); });
}
BENCHMARK(oneView)->Unit(benchmark::kMicrosecond);

} // namespace
