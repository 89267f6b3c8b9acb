#pragma once

#include "midi/midi_event.h"

#include <array>
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

  void note(const PMidiEvent& event);
  State state() const;
  void clear();

private:
  static constexpr uint8_t noteOff = 0x80;
  static constexpr uint8_t noteOn = 0x90;
  static constexpr uint8_t controller = 0xB0;
  static constexpr std::array<uint8_t, 2> pedalControllers{64, 66}; ///< sustain, sostenuto

  std::array<std::array<std::atomic<uint64_t>, 2>, 16> keys_{};
  std::array<std::atomic<uint8_t>, 16> pedals_{};
};

} // namespace orbi
