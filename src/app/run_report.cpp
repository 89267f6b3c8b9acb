// What a script hears of a run: settings for the file driver, progress, the result, statistics.
#include "app/player_application.h"

#include "platform/environment.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace orbi {

void OrbiPlayerApplication::prepareFileDriver()
{
  char number[64];
  auto set = [&number](const char* name, const char* format, auto value) {
    std::snprintf(number, sizeof number, format, value);
    platform::setEnvironment(name, number);
  };
  set("LOOM_FILE_RATE", "%d", options_.rate);
  set("LOOM_FILE_BLOCK", "%d", options_.block);
  set("LOOM_FILE_OUTPUTS", "%d", options_.outputs);
  platform::setEnvironment("LOOM_FILE_FORMAT", options_.format);
  if (options_.render) {
    // Under another name until it is complete, so that a run that fails leaves nothing half and
    // what was there stays. Devices are written to as they are.
    std::error_code error;
    std::filesystem::file_status target = std::filesystem::status(*options_.render, error);
    bool isSpecial = std::filesystem::exists(target) && !std::filesystem::is_regular_file(target);
    renderPath_ = *options_.render;
    if (!isSpecial)
      renderPath_ += ".unfinished";
  }
  platform::setEnvironment("LOOM_FILE_PATH", renderPath_.string());
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
  if (device_)
    finishAudio();
  savePrograms();
}

/// Nothing plays any more afterwards.
void OrbiPlayerApplication::finishAudio()
{
  bool wasOver = songPlayer_->isOver();
  char driver[LoomDriverList::nameLimit] = {};
  device_->driverName(driver);
  double rate = device_->sampleRate();
  int32_t frames = device_->blockFrames();
  device_->stop();
  if (options_.render) {
    if (exitStatus_ == 0 && device_->hasStopFailed())
      fail(device_->errorMessage());
    else if (exitStatus_ == 0 && !wasOver)
      fail("stopped before the end: " + options_.render->string());
    finishRender(exitStatus_ == 0);
  }
  if (statistics_) {
    std::printf("%s\n", statistics_->json(driver, rate, frames).c_str());
    std::fflush(stdout);
  }
}

/// Gives a complete render its name; removes any other.
void OrbiPlayerApplication::finishRender(bool complete)
{
  std::error_code error;
  if (renderPath_ == *options_.render) {
    if (complete)
      reportRender();
    return;
  }
  if (!complete) {
    std::filesystem::remove(renderPath_, error);
    return;
  }
  std::filesystem::rename(renderPath_, *options_.render, error);
  if (error)
    fail("the sound file can't be named: " + error.message() + ": " + options_.render->string());
  else
    reportRender();
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
