#include "host/song_player.h"

#include "audio/device.h"
#include "host/bridge.h"

#include <algorithm>
#include <cmath>

namespace orbi {

namespace {
constexpr double nanosecondsPerMillisecond = 1e6;
} // namespace

SongPlayer::~SongPlayer() = default;

void SongPlayer::play(Song song)
{
  auto track = std::make_unique<Track>();
  track->song = std::move(song);
  for (const SongEvent& event : track->song.events) {
    if (!event.isSysex())
      continue;
    auto sysex = make<PSysexEvent>();
    std::span<const uint8_t> bytes = track->song.sysexOf(event);
    if (sysex)
      sysex->append(bytes.data(), static_cast<uint32_t>(bytes.size()));
    track->sysex.push_back(std::move(sysex));
  }
  PEventPool::instance().prepare(PEventPool::capacity);
  tracks_.push_back(std::move(track));
  // Released with the track's contents; the audio thread acquires it at its next block.
  track_.store(tracks_.back().get(), std::memory_order_release);
}

double SongPlayer::songSeconds() const
{
  const Track* track = track_.load(std::memory_order_acquire);
  return track ? track->song.seconds : 0.0;
}

void SongPlayer::formatChanged(int32_t frames, double sampleRate)
{
  frames_ = frames;
  sampleRate_ = sampleRate;
  next_.formatChanged(frames, sampleRate);
}

void SongPlayer::driverReset(bool failed)
{
  next_.driverReset(failed);
}

void SongPlayer::started()
{
  next_.started();
}

void SongPlayer::stopped()
{
  next_.stopped();
}

void SongPlayer::process()
{
  LoomDevice* device = LoomDevice::instance();
  if (!device)
    return;
  const Track* track = track_.load(std::memory_order_acquire);
  if (track != audio_.track) {
    audio_.track = track;
    audio_.next = audio_.nextSysex = 0;
    audio_.songFrames = audio_.silentFrames = 0;
  }
  const double until = static_cast<double>(audio_.songFrames + frames_) / sampleRate_;
  if (track && hasDueEvent(*track, until))
    sendDueEvents(*track, until, device->timeStamp() / nanosecondsPerMillisecond);
  next_.process();
  if (over_.load(std::memory_order_relaxed))
    return;

  audio_.songFrames += frames_;
  audio_.allFrames += frames_;
  seconds_.store(static_cast<double>(audio_.allFrames) / sampleRate_, std::memory_order_relaxed);
  if (stopsDriver_)
    peak_.store(std::max(peak_.load(std::memory_order_relaxed), measureBlock(*device)),
                std::memory_order_relaxed);
  if ((limitSeconds_ <= 0.0 && !endsWithSong_) || !reachedEnd(track, *device))
    return;
  if (stopsDriver_)
    device->finishAfterThisBlock();
  over_.store(true, std::memory_order_relaxed);
}

void SongPlayer::sendDueEvents(const Track& track, double until, double now)
{
  for (; hasDueEvent(track, until); ++audio_.next) {
    const SongEvent& event = track.song.events[audio_.next];
    if (event.isSysex()) {
      PSysexEvent* sysex = track.sysex[audio_.nextSysex++].get();
      if (!sysex)
        continue;
      sysex->setTime(now);
      input_.receive(*sysex);
      continue;
    }
    PMidiEvent message(event.bytes[0], event.bytes[1], event.bytes[2]);
    message.setTime(now);
    input_.receive(message);
  }
}

/// The highest level of the block over all outputs that play.
float SongPlayer::measureBlock(LoomDevice& device) const
{
  float level = 0.0f;
  for (int32_t output = 0; output < device.outputCount(); ++output) {
    if (const float* samples = device.outputBuffer(output))
      level = std::max(level, kernels_.peakOf(samples, frames_));
  }
  return level;
}

bool SongPlayer::reachedEnd(const Track* track, LoomDevice& device)
{
  auto frames = [this](double length) {
    return static_cast<int64_t>(std::ceil(length * sampleRate_));
  };
  if (limitSeconds_ > 0.0 && audio_.allFrames >= frames(limitSeconds_))
    return true;
  if (!endsWithSong_ || !track)
    return false;
  int64_t tail = audio_.songFrames - frames(track->song.seconds);
  if (audio_.next < track->song.events.size() || tail < 0)
    return false;
  audio_.silentFrames = measureBlock(device) < silence ? audio_.silentFrames + frames_ : 0;
  return audio_.silentFrames >= frames(silentSeconds) || tail >= frames(longestTailSeconds);
}

} // namespace orbi
