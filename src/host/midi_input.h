#pragma once

#include "foundation/lock.h"
#include "foundation/object.h"
#include "foundation/realtime_memory.h"
#include "foundation/ref.h"
#include "midi/midi_event.h"
#include "platform/realtime_layout.h"
#include "studio/event_queue.h"

#include "orb/orb.h"

#include <atomic>
#include <memory>

namespace orbi {

/// What the input port calls for each event that arrives, on its own thread.
class IMidiReceiver {
public:
  virtual void receive(PMidiEvent& event) = 0;

protected:
  ~IMidiReceiver() = default;
};

/// Collects what has arrived since the last block and hands it to the plug-in's event list.
class OrbiPlayerMidiInput final : public CmClass<OrbiPlayerMidiInput, CmObject>,
                                  public IMidiReceiver,
                                  public RealtimeObject {
public:
  static constexpr const char* className = "OrbiPlayerMidiInput";
  static constexpr const char* portName = "OrbiPlayerMidiIn";

  OrbiPlayerMidiInput();
  OrbiPlayerMidiInput(const OrbiPlayerMidiInput&) = delete;
  ~OrbiPlayerMidiInput() override;

  static OrbiPlayerMidiInput* instance() { return instance_; }

  /// Keeps a copy, in the order of times; equal times in the order of arrival. Any thread.
  void receive(PMidiEvent& event) override;
  /// For the audio thread, without the lock: what this misses comes with the next block.
  bool hasEvents() const { return waiting_.load(std::memory_order_relaxed) > 0; }
  /// Takes everything that waits; what lies beyond the maximum is lost. How many were written.
  ORBI_REALTIME int32_t fillEventList(OrbEventList& list, int32_t maximum);
  void clearNotes(); ///< forgets which keys are held

  /// The port in front of this input; it carries out a reset.
  void setPort(Ref<CmObject> port) { port_ = std::move(port); }
  CmObject* port() const { return port_.get(); }
  void resetMidi();

private:
  class Writer;

  static inline OrbiPlayerMidiInput* instance_ = nullptr;

  PEventQueue events_;
  /// What was handed over already. Freed by the next who sends, not by the audio thread.
  PEventQueue spent_;
  FLock lock_{"FLock"};
  std::atomic<uint32_t> waiting_{0}; ///< count of events_, for the test without the lock
  // Written by the audio thread, cleared by the main thread while that one rests. Apart from the
  // rest, which each block looks at.
  struct HeldNotes {
    std::atomic<int32_t> of[16][128] = {};
  };
  const std::unique_ptr<HeldNotes> notesOn_ = std::make_unique<HeldNotes>();
  Ref<CmObject> port_;
};

} // namespace orbi
