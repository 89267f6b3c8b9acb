// The audio of the program: its driver, its device and what plays into it.
#include "app/player_application.h"

#include <algorithm>

namespace orbi {

bool OrbiPlayerApplication::startAudio()
{
  if (options_.render && !prepareRender())
    return false;
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

/// The driver of this run or the stored one.
std::string OrbiPlayerApplication::wantedDriver()
{
  if (options_.render)
    return fileDriverName;
  if (options_.driver)
    return *options_.driver;
  const FDefaults* group = defaults_.getGroup("OrbiPlayerAudio", 0, false);
  std::string stored = group ? group->getString("LOOM Driver") : "";
  return stored.empty() ? defaultDriverName : stored;
}

/// The first of the list where there is none of that name. One that was made but doesn't open stays
/// selected; it is no success.
bool OrbiPlayerApplication::openDriver(const std::string& name)
{
  return device_->selectDriver(std::max(device_->findDriver(name.c_str()), 0)) &&
         device_->isOpened();
}

/// The wanted one, else the default one. Who named it for this run is told of another one.
bool OrbiPlayerApplication::selectDriver()
{
  const std::string wanted = wantedDriver();
  // A sound file was asked for: no other driver will do.
  if (options_.render && device_->findDriver(fileDriverName) < 0)
    return false;
  bool isOpen = openDriver(wanted);
  const std::string failure = device_->errorMessage();
  if (!isOpen && !options_.render)
    isOpen = openDriver(defaultDriverName);
  char name[LoomDriverList::nameLimit];
  device_->driverName(name);
  if (options_.driver || options_.render)
    bridge_->setRunDriver(name); // what took the wanted one's place wasn't chosen either
  if (options_.render)
    return isOpen && wanted == name;
  const bool gaveWay = !isOpen || wanted != name;
  if (options_.driver && gaveWay)
    printLine(driverFailure(wanted, failure) +
              (isOpen ? std::string("; ") + name + " plays instead" : ""));
  return isOpen;
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
std::string OrbiPlayerApplication::driverFailure(const std::string& name, const std::string& reason)
{
  return name + ": " + (reason.empty() ? UTranslator::text("there is none") : reason);
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
  fail(driverFailure(name, audioFailure_));
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
