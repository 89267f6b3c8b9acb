// The audio of the program: its driver, its device and what plays into it.
#include "app/player_application.h"

#include <algorithm>

namespace orbi {

bool OrbiPlayerApplication::startAudio()
{
  prepareFileDriver();
  bridge_ = make<OrbiPlayerAudioBridge>(*plugin_, midiInput_.get(), &defaults_);
  songPlayer_ = std::make_unique<SongPlayer>(*bridge_, *midiInput_);
  device_ = std::make_unique<LoomDevice>(songPlayer_.get(),
                                         std::make_unique<LoomDriverList>(surroundings_.drivers));
  device_->setWakeUp(&UApplication::wantIdle);
  if (!selectDriver()) {
    audioFailure_ = device_->errorMessage();
    stopAudio();
    return false;
  }
  if (options_.stats) {
    statistics_ = std::make_unique<BlockStatistics>(*device_);
    device_->setMeter(statistics_.get());
  }
  mustEnd_ = song_ || options_.seconds > 0.0;
  if (song_) {
    songPlayer_->play(std::move(*song_));
    songPlayer_->endWithSong();
  }
  songPlayer_->endAfter(options_.seconds);
  if (options_.render)
    songPlayer_->stopDriverAtEnd();
  watchForEnd();
  bridge_->loadRouting();
  // The time base is set before the first block, so that a render doesn't depend on when it comes.
  restoreTime();
  device_->start();
  if (mustEnd_ && !device_->isRunning())
    endWithoutBlocks();
  return true;
}

/// The driver of this run or the stored one, else the first of the list, else the default one.
bool OrbiPlayerApplication::selectDriver()
{
  const FDefaults* group = defaults_.getGroup("OrbiPlayerAudio", 0, false);
  std::string wanted = group ? group->getString("LOOM Driver") : "";
  if (wanted.empty())
    wanted = defaultDriverName;
  const bool isForRun = options_.driver || options_.render;
  if (isForRun)
    wanted = options_.render ? "LOOM File Driver" : *options_.driver;
  // A driver that was made but doesn't open stays selected; it is no success.
  auto select = [this](const char* name) {
    return device_->selectDriver(std::max(device_->findDriver(name), 0)) && device_->isOpened();
  };
  // A sound file was asked for: no other driver will do.
  if (options_.render && device_->findDriver(wanted.c_str()) < 0)
    return false;
  const bool selected = select(wanted.c_str()) || (!options_.render && select(defaultDriverName));
  char name[LoomDriverList::nameLimit];
  device_->driverName(name);
  if (isForRun)
    bridge_->setRunDriver(name); // what took the wanted one's place wasn't chosen either
  return selected && (!options_.render || wanted == name);
}

/// An end that is near is looked for often, so that nobody waits for it.
void OrbiPlayerApplication::watchForEnd()
{
  constexpr double nearSeconds = 2 * idleMilliseconds / 1000.0;
  if (!mustEnd_ || !songPlayer_)
    return;
  double end = options_.seconds > 0.0 ? options_.seconds : songPlayer_->songSeconds();
  if (options_.render || songPlayer_->seconds() + nearSeconds >= end)
    wantBusyIdle();
}

/// One line for a driver that can't be used, with the reason where one is known.
std::string OrbiPlayerApplication::driverFailure(const char* name) const
{
  return std::string(name) + ": " +
         (audioFailure_.empty() ? UTranslator::text("there is none") : audioFailure_);
}

/// A run that was given an end would wait for it for ever.
void OrbiPlayerApplication::endWithoutBlocks()
{
  mustEnd_ = false; // said once, however long the message stands there
  char name[LoomDriverList::nameLimit];
  device_->driverName(name);
  audioFailure_ = device_->errorMessage();
  if (audioFailure_.empty())
    audioFailure_ = UTranslator::text("it doesn't run");
  fail(driverFailure(name));
}

void OrbiPlayerApplication::stopAudio()
{
  if (device_) {
    device_->stop();
    device_->setListener(nullptr);
  }
  if (device_ && device_->isHung()) {
    // The plug-in's last block may come back yet and finds everything in its place.
    if (bridge_)
      bridge_->saveSettings();
    bridge_.detach();
    device_.release();
    songPlayer_.release();
    return;
  }
  bridge_ = nullptr;
  device_ = nullptr;
  songPlayer_ = nullptr;
}

} // namespace orbi
