#pragma once

#include "foundation/lock.h"
#include "foundation/object.h"
#include "foundation/realtime_memory.h"
#include "foundation/ref.h"
#include "midi/held_keys.h"
#include "midi/midi_port.h"
#include "platform/realtime_layout.h"
#include "studio/event_queue.h"

#include "orb/orb.h"

#include <atomic>
#include <bitset>
#include <memory>

namespace orbi {

/// Collects what has arrived since the last block and hands it to the plug-in's event list.
class OrbiPlayerMidiInput final : public CmClass<OrbiPlayerMidiInput, CmObject>,
                                  public IMidiListener,
                                  public RealtimeObject {
public:
  static constexpr const char* className = "OrbiPlayerMidiInput";
  static constexpr const char* portName = "OrbiPlayerMidiIn";

  OrbiPlayerMidiInput();
  OrbiPlayerMidiInput(const OrbiPlayerMidiInput&) = delete;
  ~OrbiPlayerMidiInput() override;

  static OrbiPlayerMidiInput* instance() { return instance_; }

  /// Keeps a copy, in the order of times; equal times in the order of arrival. Any thread.
  void receive(PMidiEvent& event);
  void midiReceived(int32_t tag, PEvent& event, PMidiInput& from) override; ///< from the port
  /// For the audio thread, without the lock: what this misses comes with the next block.
  bool hasEvents() const { return waiting_.load(std::memory_order_relaxed) > 0; }
  /// Takes everything that waits; what lies beyond the maximum is lost. How many were written.
  ORBI_REALTIME int32_t fillEventList(OrbEventList& list, int32_t maximum);
  /// Forgets which notes the plug-in plays, and drops the notes that wait to begin. Their ends
  /// stay, as it may play on what it began before, and so does all the rest. While no block runs.
  void clearNotes();

  /// The port in front of this input, which others connect to. Main thread.
  PMidiInput& port() const { return *port_; }
  void resetMidi(); ///< through the port
  /// Ends for all keys and pedals that are held, but for those that somebody else holds, too. Any
  /// thread.
  void releaseKeys(const PHeldKeys::State& heldByOthers = {});

private:
  /// Events, while nobody takes them. What lets go has room behind, once for each key and pedal.
  static constexpr uint32_t mostWaiting = 65536;

  class Port;
  class Writer;

  static inline OrbiPlayerMidiInput* instance_ = nullptr;

  PEventQueue events_;
  /// What was handed over already. Freed by the next who sends, not by the audio thread.
  PEventQueue spent_;
  PHeldKeys held_; ///< by what arrived, played or dropped; noted under the lock
  /// What lets go of something, once each.
  class Ends {
  public:
    bool take(const PMidiEvent& event); ///< false for others, and those that it has
    void clear() { has_.reset(); }

  private:
    static constexpr size_t perChannel = 128 + 4; ///< keys, pedals and all notes off
    std::bitset<16 * perChannel> has_;
  };
  static bool outlastsRestart(const PMidiEvent& event, bool hasRoom, Ends& ends);
  Ends endsBehind_; ///< beyond mostWaiting, where no begin follows; under the lock
  FLock lock_{"FLock"};
  std::atomic<uint32_t> waiting_{0}; ///< count of events_, for the test without the lock
  // Written by the audio thread, cleared by the main thread while that one rests. Apart from the
  // rest, which each block looks at.
  struct HeldNotes {
    std::atomic<int32_t> of[16][128] = {};
  };
  const std::unique_ptr<HeldNotes> notesOn_ = std::make_unique<HeldNotes>();
  void insert(PMidiEvent& event);

  Ref<PMidiInput> port_;
};

} // namespace orbi
