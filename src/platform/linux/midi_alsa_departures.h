#pragma once

#include <alsa/asoundlib.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <utility>

namespace orbi::platform {

/// How often each port of the sequencer went, so that one that is back when somebody looks isn't
/// taken for the one that was there. Any thread.
class AlsaDepartures {
public:
  void note(const snd_seq_event_t* event) ///< an announcement; null when some were lost
  {
    const std::lock_guard guard(mutex_);
    if (event == nullptr)
      ++all_; // it may have been any
    else if (event->type == SND_SEQ_EVENT_CLIENT_EXIT)
      ++ports_[{event->data.addr.client, wholeClient}];
    else if (event->type == SND_SEQ_EVENT_PORT_EXIT)
      ++ports_[{event->data.addr.client, event->data.addr.port}];
  }

  /// Another number for each port and for each time that it was there. A program that is back has
  /// another client most of the time, under the same name.
  std::uint64_t generation(int client, int port)
  {
    const std::lock_guard guard(mutex_);
    std::uint64_t count = all_;
    for (const int one : {port, wholeClient})
      if (const auto found = ports_.find({client, one}); found != ports_.end())
        count += found->second;
    // As in an event's address, both have eight bits.
    return count << 16 | std::uint64_t(client & 0xFF) << 8 | std::uint64_t(port & 0xFF);
  }

private:
  static constexpr int wholeClient = -1;

  std::mutex mutex_;
  std::uint64_t all_ = 0;
  std::map<std::pair<int, int>, std::uint64_t> ports_; // of the few numbers that the kernel has
};

} // namespace orbi::platform
