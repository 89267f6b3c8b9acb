#pragma once

#include "midi/open_notes.h"

#include <atomic>

namespace orbi {

/// Which keys and pedals a player holds down, by the events that went by, so that they can be let
/// go of when the player's port leaves. One thread notes events, any may look meanwhile.
class PHeldKeys {
public:
  /// As it stood at one moment.
  struct State {
    std::array<std::array<uint64_t, 2>, 16> keys{};
    std::array<uint8_t, 16> pedals{};
    State& operator|=(const State& other);
    State& operator-=(const State& other); ///< without what the other one holds

    /// Calls send(PMidiEvent&) with a note off for each key, then each pedal's release.
    template <class Send>
    void release(double time, const Send& send) const
    {
      for (uint8_t channel = 0; channel < 16; ++channel) {
        for (uint8_t key = 0; key < 128; ++key)
          if (keys[channel][key / 64] >> key % 64 & 1)
            sendOne(static_cast<uint8_t>(noteOff | channel), key, time, send);
        for (size_t pedal = 0; pedal < pedalControllers.size(); ++pedal)
          if (pedals[channel] >> pedal & 1)
            sendOne(static_cast<uint8_t>(controller | channel), pedalControllers[pedal], time,
                    send);
      }
    }

  private:
    template <class Send>
    static void sendOne(uint8_t status, uint8_t data1, double time, const Send& send)
    {
      PMidiEvent event(status, data1, 0);
      event.setTime(time);
      send(event);
    }
  };

  // One thread, for each event that goes by. The end of a note counts only when everybody has heard
  // of it, so whoever leaves meanwhile finds it still held.
  void noteBegin(const PMidiEvent& event); ///< before it is sent
  void noteEnd(const PMidiEvent& event);   ///< after it was sent
  void note(const PMidiEvent& event)
  {
    noteBegin(event);
    noteEnd(event);
  }
  void clear();

  State state() const;
  void mark(); ///< for heldSinceMark
  /// What is held, and what was pressed since the mark though it be let go of again.
  State heldSinceMark() const;

private:
  static constexpr uint8_t noteOff = 0x80;
  static constexpr uint8_t noteOn = 0x90;
  static constexpr uint8_t controller = 0xB0;

  struct Bits {
    std::array<std::array<std::atomic<uint64_t>, 2>, 16> keys{};
    std::array<std::atomic<uint8_t>, 16> pedals{};

    void set(const PMidiEvent& event, bool on);
    State state() const;
    void clear();
  };

  Bits held_;
  Bits pressed_; ///< since the mark
};

} // namespace orbi
