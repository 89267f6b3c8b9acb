#ifdef ORBI_HAVE_ALSA

#include "platform/linux/midi_alsa_clock.h"

#include "platform/clock.h"

#include <algorithm>

namespace orbi::platform {

namespace {

constexpr std::int64_t longestWait = 1'000'000'000; // nanoseconds; an older stamp is a wrong one

} // namespace

AlsaClock::AlsaClock(const AlsaClient& client)
    : client_(client), queue_(client.library().snd_seq_alloc_queue(client.handle()))
{
}

/// A start sets the queue's time to 0.
void AlsaClock::run(bool runs)
{
  if (queue_ < 0 || runs == (startedAt_.load(std::memory_order_relaxed) != 0))
    return;
  const AlsaLibrary& library = client_.library();
  library.snd_seq_control_queue(client_.handle(), queue_,
                                runs ? SND_SEQ_EVENT_START : SND_SEQ_EVENT_STOP, 0, nullptr);
  library.snd_seq_drain_output(client_.handle());
  startedAt_.store(runs ? steadyNanoseconds() : 0, std::memory_order_relaxed);
}

/// What was stamped by a queue that rested, or before it was started anew, is about as old as now.
std::int64_t AlsaClock::timeOf(const snd_seq_event_t& event) const
{
  const std::int64_t now = steadyNanoseconds();
  const std::int64_t startedAt = startedAt_.load(std::memory_order_relaxed);
  const bool stamped = startedAt != 0 && event.queue == queue_ &&
                       (event.flags & SND_SEQ_TIME_STAMP_MASK) == SND_SEQ_TIME_STAMP_REAL;
  if (!stamped)
    return now;
  const snd_seq_real_time_t& stamp = event.time.time;
  const std::int64_t time = startedAt + std::int64_t{stamp.tv_sec} * 1'000'000'000 + stamp.tv_nsec;
  return time > now - longestWait && time <= now ? time : now;
}

} // namespace orbi::platform

#endif
