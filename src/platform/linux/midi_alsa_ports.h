#pragma once

#include "platform/event.h"
#include "platform/linux/alsa_reader.h"
#include "platform/linux/midi_alsa_clock.h"
#include "platform/linux/single_ring.h"
#include "platform/midi_input_stream.h"
#include "platform/semaphore.h"

#include <atomic>
#include <functional>
#include <optional>

namespace orbi::platform {

/// A port of ours in the sequencer, ready for use. A connection with a foreign port has a client of
/// its own, which patch bays don't show: so each has its own pool of events, and its own thread.
struct AlsaOpenPort {
  const AlsaClient* client;        ///< the one that has the port
  int port;                        ///< there
  std::unique_ptr<AlsaClient> own; ///< null for a virtual port, which is there all the time
  std::function<void()> closed;    ///< called at the end
  std::function<void()> lost = {}; ///< of a connected input: by the reading thread
};

class AlsaInput final : public MidiInputPort {
public:
  AlsaInput(AlsaOpenPort port, const AlsaClock& clock, IMidiInputHandler& handler);
  ~AlsaInput() override;

  void addBuffer(MidiBuffer& buffer) override { stream_.addBuffer(buffer); }
  bool start() override;
  void reset() override;
  bool isLost() const override { return lost_.load(std::memory_order_relaxed); }
  ThreadId thread() const override { return reader_.thread(); }

private:
  void take(const snd_seq_event_t* event);
  void lose();
  std::uint32_t stamp(std::int64_t time) const;

  const AlsaOpenPort port_;
  const AlsaClock& clock_;
  MidiInputStream stream_;
  AlsaReader reader_;
  bool started_ = false;
  std::int64_t startedAt_ = 0; // nanoseconds of the steady clock
  std::atomic<bool> lost_{false};
};

/// Holds the done notices of long messages back for as long as the bytes take on a wire. The
/// hardware's buffer is short and what it can't hold is lost, so that this is what keeps a sender
/// from being faster than the wire.
class AlsaWire {
public:
  explicit AlsaWire(IMidiOutputHandler& handler) : handler_(handler) {}
  ~AlsaWire();
  AlsaWire(const AlsaWire&) = delete;
  AlsaWire& operator=(const AlsaWire&) = delete;

  bool start();
  bool hasRoom() const { return !ring_.full(); }
  void sent(MidiBuffer& buffer); ///< while there is room

private:
  struct Sent {
    MidiBuffer* buffer;
    std::int64_t done; // when; nanoseconds
  };
  void run();

  IMidiOutputHandler& handler_;
  ThreadHandle thread_;
  SingleRing<Sent, 64> ring_;
  Semaphore waiting_{0};
  Event ending_{EventReset::manual};
  std::int64_t busyUntil_ = 0; // the sender's
};

class AlsaOutput final : public MidiOutputPort {
public:
  AlsaOutput(AlsaOpenPort port, bool isHardware, IMidiOutputHandler& handler);
  ~AlsaOutput() override;

  bool shortMessage(std::uint32_t packed) override;
  bool longMessage(MidiBuffer& buffer) override;
  bool isLost() override { return port_.own && !port_.own->isReadFrom(port_.port); }

private:
  bool send(snd_seq_event_t& event);

  const AlsaOpenPort port_;
  IMidiOutputHandler& handler_;
  std::optional<AlsaWire> wire_; // of hardware
};

} // namespace orbi::platform
