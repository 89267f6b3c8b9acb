// Windows of the toolkit on the display of DISPLAY: what painting them takes, and how soon a click
// or a key arrives. The latter is from the moment when another client hands the stroke to the
// server until the view's own function runs, while the program was waiting for it; the time shown
// is the mean, the counters are the median and the 99 %, in microseconds. It wants an idle machine
// and no window manager.
#include "platform/clock.h"
#include "ui/application.h"
#include "ui/views/basic/theme.h"
#include "ui/views/desktop.h"
#include "ui/views/windows.h"

#include <algorithm>
#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#if ORBI_HAVE_XTEST
#include <xcb/xcb.h>
#include <xcb/xtest.h>
#endif

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
  bool mouseDown(const UMouseEvent&) override { return told(); }
  bool keyDown(const UKeyCode&) override { return told(); }

  static inline int64_t drawn = 0;
  static inline std::atomic<int64_t> toldAt = 0; ///< nanoseconds, of the last stroke; 0 for none

private:
  static bool told()
  {
    toldAt = platform::steadyNanoseconds();
    return true;
  }
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

#if ORBI_HAVE_XTEST
/// Presses and releases a button or a key over and over, from a thread and a connection of its own.
class Hand {
public:
  Hand(uint8_t press, uint8_t detail, Point place)
      : connection_(xcb_connect(nullptr, nullptr)), press_(press), detail_(detail)
  {
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    xcb_test_fake_input(connection_, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root,
                        static_cast<int16_t>(place.x), static_cast<int16_t>(place.y), 0);
    thread_ = std::thread([this] { work(); });
  }
  ~Hand()
  {
    ends_ = true;
    thread_.join();
    xcb_disconnect(connection_);
  }
  Hand(const Hand&) = delete;

  std::atomic<bool> isDue = false;    ///< a stroke, after a pause
  std::atomic<int64_t> pressedAt = 0; ///< nanoseconds

private:
  void work()
  {
    for (; !ends_; std::this_thread::sleep_for(std::chrono::milliseconds(3))) {
      if (!isDue)
        continue;
      pressedAt = platform::steadyNanoseconds();
      fake(press_);
      for (int i = 0; i < 1000 && Cell::toldAt == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      fake(static_cast<uint8_t>(press_ + 1)); // the release
      isDue = false;
    }
  }
  void fake(uint8_t what)
  {
    xcb_test_fake_input(connection_, what, detail_, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    xcb_flush(connection_);
  }

  xcb_connection_t* connection_;
  const uint8_t press_, detail_;
  std::atomic<bool> ends_ = false;
  std::thread thread_;
};

void strokeArrives(benchmark::State& state, uint8_t press, uint8_t detail)
{
  Rig rig(state);
  if (!rig.panel->isOpen())
    return;
  Cell& cell = *rig.panel->last;
  cell.setFocusable(true);
  cell.takeFocus();
  const Rect window = rig.panel->system()->client();
  Hand hand(press, detail,
            {window.left + cell.rect().middle().x, window.top + cell.rect().middle().y});
  std::vector<double> taken; // microseconds
  for (auto _ : state) {
    Cell::toldAt = 0;
    hand.isDue = true;
    while (hand.isDue) {
      platform::RunLoop::instance()->runOnce(5);
      rig.application->runPasses();
    }
    if (Cell::toldAt == 0) {
      state.SkipWithError("a stroke got lost");
      return;
    }
    taken.push_back(static_cast<double>(Cell::toldAt - hand.pressedAt) / 1e3);
    state.SetIterationTime(taken.back() / 1e6);
  }
  std::ranges::sort(taken);
  state.counters["p50"] = taken[taken.size() / 2];
  state.counters["p99"] = taken[taken.size() * 99 / 100];
}

void keyArrives(benchmark::State& state)
{
  constexpr uint8_t someLetter = 38; // by the server's codes
  strokeArrives(state, XCB_KEY_PRESS, someLetter);
}
BENCHMARK(keyArrives)->UseManualTime()->Iterations(2000)->Unit(benchmark::kMicrosecond);

void clickArrives(benchmark::State& state)
{
  strokeArrives(state, XCB_BUTTON_PRESS, 1);
}
BENCHMARK(clickArrives)->UseManualTime()->Iterations(2000)->Unit(benchmark::kMicrosecond);
#endif

} // namespace
