// What a script hears of a run: settings for the file driver, progress, the result, statistics.
#include "app/player_application.h"

#include "persist/whole_file.h"
#include "platform/environment.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace orbi {

/// Under another name until it is complete, so that a run that fails leaves nothing half and what
/// was there stays. Devices are written to as they are. False with words where a way leads nowhere.
bool OrbiPlayerApplication::prepareRender()
{
  const std::filesystem::path& file = *options_.render;
  std::error_code error;
  const std::filesystem::file_status there = std::filesystem::status(file, error);
  if (!status_known(there)) {
    audioFailure_ = "the sound file can't be created: " + error.message() + ": " + file.string();
    return false;
  }
  renderPath_ = renderTarget_ = file;
  if (!exists(there) || is_regular_file(there)) {
    renderPath_ = renderTarget_ = behindLinks(file);
    renderPath_ += ".unfinished";
  }
  return true;
}

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

/// What is said goes where the progress stood.
void OrbiPlayerApplication::clearProgress()
{
  if (options_.render && platform::errorOutputIsTerminal())
    std::fputs("\r     \r", stderr);
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
    const std::string line = statistics_->json(driver, rate, frames) + '\n';
    hasLostOutput_ = std::fputs(line.c_str(), stdout) < 0 || std::fflush(stdout) != 0;
    if (hasLostOutput_)
      printLine("standard output can't be written");
  }
}

/// Gives a complete render its name; removes any other.
void OrbiPlayerApplication::finishRender(bool complete)
{
  std::error_code error;
  if (renderPath_ == renderTarget_) {
    if (complete)
      reportRender();
    return;
  }
  if (!complete) {
    std::filesystem::remove(renderPath_, error);
    return;
  }
  std::filesystem::rename(renderPath_, renderTarget_, error);
  if (error)
    fail("the sound file can't be named: " + error.message() + ": " + options_.render->string());
  else
    reportRender();
}

void OrbiPlayerApplication::reportRender()
{
  clearProgress();
  double peak = songPlayer_->peak();
  char level[64] = "silent";
  if (peak > 0.0)
    std::snprintf(level, sizeof level, "peak %.1f dBFS", 20.0 * std::log10(peak));
  std::fprintf(stderr, "%s: %.1f s, %s\n", options_.render->c_str(), songPlayer_->seconds(), level);
}

} // namespace orbi
