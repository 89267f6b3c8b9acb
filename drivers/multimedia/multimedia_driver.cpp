#include "common/threaded_driver.h"
#include "multimedia/pcm.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <pthread.h>
#include <string>
#include <vector>

namespace loom {

namespace {

constexpr unsigned wishedRate = 48000;
// A device that claims more than this takes any number and says nothing about its speakers.
constexpr unsigned mostBelievedChannels = 8;
constexpr uint64_t nanosecondsPerSecond = 1'000'000'000;
constexpr uint64_t millisecond = nanosecondsPerSecond / 1000;
// A device that takes nothing for so long is lost.
constexpr uint64_t longestStall = 2 * nanosecondsPerSecond;
constexpr uint64_t longestDrain = nanosecondsPerSecond / 2;
constexpr int mostFailures = 10; // in a row, without a block between them
constexpr int threadPriority = 60;

// ALSA's order of channels, from three on.
constexpr const char* speakers[mostBelievedChannels] = {
    "Front Left", "Front Right",   "Rear Left", "Rear Right",
    "Center",     "Low Frequency", "Side Left", "Side Right"};

void ignoreWords(const char*, int, const char*, int, const char*, ...) {}

/// A number from the environment, or fallback when it isn't there or isn't in the range.
unsigned numberVariable(const char* name, unsigned maximum, unsigned fallback)
{
  const char* text = std::getenv(name);
  char* end = nullptr;
  const unsigned long value = text ? std::strtoul(text, &end, 10) : 0;
  return text && *text && !*end && value >= 1 && value <= maximum ? unsigned(value) : fallback;
}

template <class Sample>
void spread(const uint8_t* from, uint8_t* to, size_t frames, size_t channels)
{
  for (size_t frame = 0; frame < frames; ++frame)
    std::memcpy(to + frame * channels * sizeof(Sample), from + frame * sizeof(Sample),
                sizeof(Sample));
}

using ThreeBytes = uint8_t[3];

/// Plays on an ALSA PCM, whose buffer is kept full block by block.
class MultimediaDriver final : public ThreadedDriver {
public:
  static constexpr ClassId classId = {0x86, 0xe6, 0x24, 0x5f, 0xe9, 0xaf, 0xde, 0x4b,
                                      0xa0, 0xd1, 0xf1, 0xf7, 0xc0, 0x49, 0xbe, 0x69};

  MultimediaDriver() : ThreadedDriver(classId) { snd_lib_error_set_handler(ignoreWords); }
  // The library may outlive this module.
  ~MultimediaDriver() override { snd_lib_error_set_handler(nullptr); }

private:
  // The device
  const char* name() const override { return "LOOM Multimedia Driver"; }
  bool init() override;
  int outputCount() const override { return static_cast<int>(outputCount_); }
  int outputLatency() const override;
  BufferSizes bufferSizes() const override;
  double sampleRate() const override { return abilities_.rate; }
  bool canSampleRate(double rate) override;
  int32_t setSampleRate(double rate) override;
  int32_t sampleType() const override { return abilities_.format->type; }
  void nameOutput(int channel, std::span<char, loomNameBytes> name) const override;

  // Buffers and running
  int32_t openBuffers() override;
  void closeBuffers() override { pcm_.release(); }
  int32_t beforeRun() override;
  int32_t afterRun() override;

  // The driver's thread; false: the device is lost
  void run() override;
  void raisePriority();
  bool playBlocks();
  bool waitForRoom();
  bool writeBlock();
  bool recover(int error);
  int resume();
  void holdPace();
  void drain();
  void interleave(int half);
  uint64_t nanoseconds(uint64_t count) const { return nanosecondsOf(count, setup_.rate); }

  Pcm pcm_;
  PcmAbilities abilities_;
  unsigned outputCount_ = 0;
  PcmSetup setup_{};
  std::vector<uint8_t> interleaved_;

  struct {
    uint64_t position = 0;   // frames
    uint64_t writtenAt = 0;  // when the buffer was last full
    uint64_t paceFrom = 0;   // when the device last made us wait
    uint64_t paceFrames = 0; // taken since then
    int failures = 0;
  } thread_; // the driver's thread only, while it runs
};

// ---- the device ---------------------------------------------------------------------------------

bool MultimediaDriver::init()
{
  const char* device = std::getenv("LOOM_ALSA_DEVICE");
  std::string reason;
  if (!pcm_.open(device && *device ? device : "default", reason) ||
      !pcm_.probe(wishedRate, abilities_, reason)) {
    fail(loomNotPresent, "%s", reason.c_str());
    return false;
  }
  const unsigned most = std::min(abilities_.channels, unsigned(loomMaxChannels));
  outputCount_ = numberVariable("LOOM_ALSA_CHANNELS", most, most > mostBelievedChannels ? 2 : most);
  return true;
}

int MultimediaDriver::outputLatency() const
{
  return hasBuffers() ? setup_.bufferFrames : 3 * abilities_.preferredFrames;
}

BufferSizes MultimediaDriver::bufferSizes() const
{
  return {abilities_.minimumFrames, abilities_.maximumFrames, abilities_.preferredFrames,
          abilities_.minimumFrames == abilities_.maximumFrames ? 0 : 1};
}

bool MultimediaDriver::canSampleRate(double rate)
{
  if (hasBuffers() || !(rate >= 1000.0 && rate <= 768000.0) || rate != unsigned(rate))
    return rate == abilities_.rate;
  return pcm_.takesRate(unsigned(rate));
}

int32_t MultimediaDriver::setSampleRate(double rate)
{
  if (!canSampleRate(rate))
    return loomNoClock;
  PcmAbilities abilities;
  std::string reason;
  if (!pcm_.probe(unsigned(rate), abilities, reason))
    return fail(loomNoClock, "%s", reason.c_str());
  abilities_ = abilities;
  return loomOk;
}

void MultimediaDriver::nameOutput(int channel, std::span<char, loomNameBytes> name) const
{
  if (outputCount_ <= 2)
    std::snprintf(name.data(), name.size(), "%s", channel == 0 ? "Left" : "Right");
  else if (outputCount_ <= mostBelievedChannels)
    std::snprintf(name.data(), name.size(), "%s", speakers[channel]);
  else
    Driver::nameOutput(channel, name);
}

// ---- buffers and running ------------------------------------------------------------------------

int32_t MultimediaDriver::openBuffers()
{
  unsigned channels = 1;
  for (const Output& output : outputs())
    channels = std::max(channels, unsigned(output.channel) + 1);
  // A mono stream on a stereo device would come out on both sides.
  channels = std::max(channels, std::min(2U, abilities_.channels));
  setup_ = {abilities_.rate, channels, frames(), 0};
  std::string reason;
  if (!pcm_.configure(*abilities_.format, setup_, reason))
    return fail(loomNotPresent, "%s", reason.c_str());
  return loomOk;
}

int32_t MultimediaDriver::beforeRun()
{
  // What nobody asked for stays silent.
  interleaved_.assign(size_t(frames()) * setup_.channels * abilities_.format->bytes, 0);
  thread_ = {};
  const int error = snd_pcm_prepare(pcm_.handle());
  return error < 0 ? fail(loomNotPresent, "the ALSA device can't start: %s", snd_strerror(error))
                   : int32_t{loomOk};
}

int32_t MultimediaDriver::afterRun()
{
  snd_pcm_drop(pcm_.handle());
  return loomOk;
}

// ---- the driver's thread ------------------------------------------------------------------------

void MultimediaDriver::run()
{
  raisePriority();
  if (!playBlocks())
    host().requestReset(); // once; there's nothing left to play on
}

/// Only a wish: without the right to it the thread runs as any other.
void MultimediaDriver::raisePriority()
{
  sched_param parameters{};
  parameters.sched_priority = threadPriority;
  pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
}

bool MultimediaDriver::playBlocks()
{
  thread_.paceFrom = steadyNow();
  for (int half = 0; !stopping(); half ^= 1) {
    if (!waitForRoom())
      return stopping();
    holdPace();
    if (stopping())
      break;
    host().bufferSwitch(half, thread_.position, steadyNow());
    interleave(half);
    if (!writeBlock())
      return stopping();
    thread_.position += frames();
    thread_.failures = 0;
  }
  drain();
  return true;
}

/// Until the device's buffer has room for a block.
bool MultimediaDriver::waitForRoom()
{
  const uint64_t limit = steadyNow() + longestStall;
  for (int spins = 0; !stopping(); ++spins) {
    const snd_pcm_sframes_t room = snd_pcm_avail_update(pcm_.handle());
    if (room >= frames())
      return true;
    if (room < 0) {
      if (!recover(static_cast<int>(room)))
        return false;
      continue;
    }
    if (steadyNow() > limit)
      return false;
    const int ready = snd_pcm_wait(pcm_.handle(), 50);
    if (ready < 0 && !recover(ready))
      return false;
    if (spins > 2) // a device that is ready and yet has no room must not turn this into a busy loop
      sleepUntil(steadyNow() + millisecond);
    thread_.paceFrom = steadyNow();
    thread_.paceFrames = 0;
  }
  return false;
}

/// A device that never makes us wait has no clock; then ours is the one. The allowance of its
/// buffer keeps this away from devices that have one.
void MultimediaDriver::holdPace()
{
  const uint64_t allowance = setup_.bufferFrames + frames();
  if (thread_.paceFrames > allowance)
    sleepUntil(thread_.paceFrom + nanoseconds(thread_.paceFrames - allowance));
  thread_.paceFrames += frames();
}

bool MultimediaDriver::writeBlock()
{
  const uint8_t* next = interleaved_.data();
  const size_t frameBytes = size_t(setup_.channels) * abilities_.format->bytes;
  const uint64_t limit = steadyNow() + longestDrain;
  for (snd_pcm_uframes_t left = frames(); left > 0;) {
    const snd_pcm_sframes_t taken = snd_pcm_writei(pcm_.handle(), next, left);
    if (taken > 0) {
      next += taken * frameBytes;
      left -= taken;
    } else if (taken < 0 && taken != -EAGAIN) {
      if (!recover(static_cast<int>(taken)))
        return false;
    } else if (steadyNow() > limit) {
      return false;
    } else { // room was promised, so this is rare and short
      const timespec pause{0, millisecond};
      nanosleep(&pause, nullptr);
    }
  }
  thread_.writtenAt = steadyNow();
  return true;
}

/// After an underrun or a suspended machine: makes the device ready again and moves the position on
/// by the frames that it would have played. False when it is lost.
bool MultimediaDriver::recover(int error)
{
  if (++thread_.failures > mostFailures)
    return false;
  if (error == -EINTR)
    return true;
  if (error == -ESTRPIPE && resume() == 0)
    return true;
  if (error != -EPIPE && error != -ESTRPIPE)
    return false;
  if (snd_pcm_prepare(pcm_.handle()) < 0)
    return false;
  const uint64_t now = steadyNow();
  const uint64_t ranDry = thread_.writtenAt + nanoseconds(setup_.bufferFrames);
  if (thread_.writtenAt != 0 && now > ranDry)
    thread_.position += framesIn(now - ranDry, setup_.rate);
  thread_.writtenAt = now - nanoseconds(setup_.bufferFrames); // the next loss counts from here
  return true;
}

int MultimediaDriver::resume()
{
  const uint64_t limit = steadyNow() + longestStall;
  int result = snd_pcm_resume(pcm_.handle());
  while (result == -EAGAIN && !stopping() && steadyNow() < limit) {
    sleepUntil(steadyNow() + 20 * millisecond);
    result = snd_pcm_resume(pcm_.handle());
  }
  return result;
}

/// What has been written is still heard.
void MultimediaDriver::drain()
{
  const uint64_t limit = steadyNow() + longestDrain;
  int result = snd_pcm_drain(pcm_.handle());
  while (result == -EAGAIN && steadyNow() < limit) {
    const timespec pause{0, millisecond};
    nanosleep(&pause, nullptr);
    result = snd_pcm_state(pcm_.handle()) == SND_PCM_STATE_DRAINING ? -EAGAIN : 0;
  }
}

void MultimediaDriver::interleave(int half)
{
  const size_t bytes = abilities_.format->bytes;
  for (const Output& output : outputs()) {
    const uint8_t* from = output.halves[half];
    uint8_t* to = interleaved_.data() + output.channel * bytes;
    if (bytes == 4)
      spread<uint32_t>(from, to, frames(), setup_.channels);
    else if (bytes == 3)
      spread<ThreeBytes>(from, to, frames(), setup_.channels);
    else
      spread<uint16_t>(from, to, frames(), setup_.channels);
  }
}

} // namespace

} // namespace loom

extern "C" LOOM_EXPORT int32_t LoomCreateDriver(const uint8_t classId[16], void** driver)
{
  return loom::createDriver<loom::MultimediaDriver>(classId, driver);
}
