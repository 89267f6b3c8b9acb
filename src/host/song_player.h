#pragma once

#include "audio/device_listener.h"
#include "audio/kernels.h"
#include "foundation/realtime_memory.h"
#include "host/midi_input.h"
#include "host/song.h"
#include "midi/event_pool.h"
#include "midi/held_keys.h"

#include <atomic>
#include <memory>
#include <vector>

namespace orbi {

class LoomDevice;
class OrbiPlayerAudioBridge;

/// Stands between the device and its listener: pushes a song's events into the MIDI input in the
/// block in which they fall due, and tells when a run that has an end is over.
class SongPlayer final : public LoomDeviceListener, public RealtimeObject {
public:
  static constexpr double silence = 1e-5; ///< a tail below this level counts as died away, -100 dB
  static constexpr double silentSeconds = 0.5; ///< for which it has to stay there
  static constexpr double longestTailSeconds = 10.0;
  /// What goes out with one block. The rest waits for the next ones, as beyond the pool's events,
  /// which others want, too, sending one would reach for the heap.
  static constexpr uint32_t mostEventsInBlock = PEventPool::capacity / 2;

  SongPlayer(OrbiPlayerAudioBridge& next, OrbiPlayerMidiInput& input) : next_(next), input_(input)
  {
  }
  ~SongPlayer();

  // Main thread, before the device starts, but for play
  /// From the next block on; also while the device runs. What a former song holds is let go of.
  void play(Song song);
  void endWithSong() { endsWithSong_ = true; } ///< the run is over when its tail has died away
  void endAfter(double seconds) { limitSeconds_ = seconds; }
  /// Tells the driver by itself that a block is the last one, so that a file ends with it,
  /// and measures the peak.
  void stopDriverAtEnd() { stopsDriver_ = true; }

  // Any thread
  bool isOver() const { return over_.load(std::memory_order_relaxed); }
  double seconds() const { return seconds_.load(std::memory_order_relaxed); } ///< of audio so far
  double songSeconds() const; ///< length of the song, 0 without one
  /// Highest level so far, where it is measured.
  float peak() const { return peak_.load(std::memory_order_relaxed); }

  // The device's listener
  void formatChanged(int32_t frames, double sampleRate) override;
  void driverReset(bool failed) override;
  void started() override;
  void stopped() override;
  ORBI_REALTIME void process() override;

private:
  /// A song ready to be played. System exclusive messages stand as events, so that sending one
  /// costs no allocation.
  struct Track {
    Song song;
    std::vector<Ref<PSysexEvent>> sysex;
  };

  bool hasDueEvent(const Track& track, double until) const
  {
    const std::vector<SongEvent>& events = track.song.events;
    return audio_.next < events.size() && events[audio_.next].seconds < until;
  }
  ORBI_REALTIME_SELDOM void beginTrack(const Track* track);
  ORBI_REALTIME_SELDOM void sendDueEvents(const Track& track, double until, double now);
  ORBI_REALTIME_SELDOM uint32_t endFormerSong(double now);
  ORBI_REALTIME_SELDOM void sendNext(const Track& track, double now);
  ORBI_REALTIME_SELDOM void send(PMidiEvent& event, double now);
  ORBI_REALTIME_SELDOM float measureBlock(LoomDevice& device) const;
  ORBI_REALTIME_SELDOM bool reachedEnd(const Track* track, LoomDevice& device);

  OrbiPlayerAudioBridge& next_;
  OrbiPlayerMidiInput& input_;
  const AudioKernels& kernels_ = audioKernels();
  std::vector<std::unique_ptr<Track>> tracks_; ///< all that were ever played
  std::atomic<const Track*> track_{nullptr};
  bool endsWithSong_ = false;
  bool stopsDriver_ = false;
  double limitSeconds_ = 0.0;
  int32_t frames_ = 0;
  double sampleRate_ = 44100.0;

  std::atomic<bool> over_{false};
  std::atomic<double> seconds_{0.0};
  std::atomic<float> peak_{0.0f};

  struct {
    const Track* track = nullptr;
    size_t next = 0; ///< event
    size_t nextSysex = 0;
    int64_t songFrames = 0; ///< since the song's start
    int64_t allFrames = 0;
    int64_t silentFrames = 0; ///< since the tail was last heard
    bool endsFormer = false;  ///< a former song may hold keys and pedals yet
    PHeldKeys held;           ///< by what was sent
  } audio_;                   // the thread that fills the blocks only, while the device runs
};

} // namespace orbi
