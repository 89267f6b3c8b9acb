// What a script hears of a run: settings for the file driver, progress, the result, statistics.
#include "app/player_application.h"

#include "platform/environment.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace orbi {

void OrbiPlayerApplication::prepareFileDriver() const
{
  char number[64];
  auto set = [&number](const char* name, const char* format, auto value) {
    std::snprintf(number, sizeof number, format, value);
    platform::setEnvironment(name, number);
  };
  set("LOOM_FILE_RATE", "%.17g", options_.rate);
  set("LOOM_FILE_BLOCK", "%d", options_.block);
  set("LOOM_FILE_OUTPUTS", "%d", options_.outputs);
  platform::setEnvironment("LOOM_FILE_FORMAT", options_.format);
  platform::setEnvironment("LOOM_FILE_PATH", options_.render ? options_.render->string() : "");
  platform::setEnvironment("LOOM_FILE_REALTIME", options_.render ? "0" : "1");
}

void OrbiPlayerApplication::showProgress()
{
  if (!songPlayer_ || !platform::errorOutputIsTerminal())
    return;
  double whole = options_.seconds > 0.0 ? options_.seconds : songPlayer_->songSeconds();
  double share = whole > 0.0 ? std::min(songPlayer_->seconds() / whole, 1.0) : 1.0;
  std::fprintf(stderr, "\r%3.0f %%", share * 100.0);
  std::fflush(stderr);
}

void OrbiPlayerApplication::finishRun()
{
  if (!device_)
    return;
  bool wasOver = songPlayer_->isOver();
  char driver[LoomDriverList::nameLimit] = {};
  device_->driverName(driver);
  double rate = device_->sampleRate();
  int32_t frames = device_->blockFrames();
  device_->stop();
  if (options_.render && exitStatus_ == 0) {
    if (device_->hasStopFailed()) {
      show(device_->errorMessage());
      exitStatus_ = 1;
    } else if (wasOver) {
      reportRender();
    } else {
      show("stopped before the end: " + options_.render->string());
      exitStatus_ = 1;
    }
  }
  if (statistics_) {
    std::printf("%s\n", statistics_->json(driver, rate, frames).c_str());
    std::fflush(stdout);
  }
}

void OrbiPlayerApplication::reportRender()
{
  if (platform::errorOutputIsTerminal())
    std::fprintf(stderr, "\r");
  double peak = songPlayer_->peak();
  char level[64] = "silent";
  if (peak > 0.0)
    std::snprintf(level, sizeof level, "peak %.1f dBFS", 20.0 * std::log10(peak));
  std::fprintf(stderr, "%s: %.1f s, %s\n", options_.render->c_str(), songPlayer_->seconds(), level);
}

} // namespace orbi
