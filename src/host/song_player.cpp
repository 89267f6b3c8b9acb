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
  // With room for those on their way: what the pool can't take back would go to the heap.
  PEventPool::instance().prepare(PEventPool::capacity - mostEventsInBlock);
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
  // A song goes on where it was: what was counted at another rate lasted as long.
  for (int64_t* count : {&audio_.songFrames, &audio_.allFrames, &audio_.silentFrames})
    *count = std::llround(static_cast<double>(*count) * sampleRate / sampleRate_);
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
  if (track != audio_.track)
    beginTrack(track);
  const double until = static_cast<double>(audio_.songFrames + frames_) / sampleRate_;
  if (track && (audio_.endsFormer || hasDueEvent(*track, until)))
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

void SongPlayer::beginTrack(const Track* track)
{
  audio_.endsFormer = audio_.track != nullptr;
  audio_.track = track;
  audio_.next = audio_.nextSysex = 0;
  audio_.songFrames = audio_.silentFrames = 0;
}

/// The ends of what the former song holds come before the first event.
void SongPlayer::sendDueEvents(const Track& track, double until, double now)
{
  uint32_t count = audio_.endsFormer ? endFormerSong(now) : 0;
  for (; count < mostEventsInBlock && hasDueEvent(track, until); ++count)
    sendNext(track, now);
}

/// How many were sent.
uint32_t SongPlayer::endFormerSong(double now)
{
  uint32_t count = 0;
  audio_.held.state().release(now, [&](PMidiEvent& end) {
    if (count < mostEventsInBlock) {
      send(end, now);
      ++count;
    }
  });
  audio_.endsFormer = count == mostEventsInBlock; // there may be more
  return count;
}

void SongPlayer::sendNext(const Track& track, double now)
{
  const SongEvent& event = track.song.events[audio_.next++];
  if (event.isSysex()) {
    if (PSysexEvent* sysex = track.sysex[audio_.nextSysex++].get())
      send(*sysex, now);
    return;
  }
  PMidiEvent message(event.bytes[0], event.bytes[1], event.bytes[2]);
  send(message, now);
}

void SongPlayer::send(PMidiEvent& event, double now)
{
  event.setTime(now);
  input_.receive(event);
  audio_.held.note(event);
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
