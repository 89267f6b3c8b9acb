#pragma once

#include "platform/linux/midi_alsa_client.h"

#include <atomic>

namespace orbi::platform {

/// The sequencer's queue that stamps what comes in. The kernel keeps a timer going for a queue that
/// runs, so this one does so only while anybody is connected who may send. Main thread, but for the
/// reading of stamps.
class AlsaClock {
public:
  explicit AlsaClock(const AlsaClient& client);
  AlsaClock(const AlsaClock&) = delete;
  AlsaClock& operator=(const AlsaClock&) = delete;

  int queue() const { return queue_; } ///< its number; less than 0 when there is none
  void run(bool runs);
  /// When the event came, in nanoseconds of the steady clock: now if it has no stamp. Any thread.
  std::int64_t timeOf(const snd_seq_event_t& event) const;

private:
  const AlsaClient& client_;
  const int queue_;
  std::atomic<std::int64_t> startedAt_{0}; // by the steady clock; 0 while it rests
};

} // namespace orbi::platform
