#pragma once

#include "midi/midi_event.h"

#include <algorithm>
#include <array>

namespace orbi {

/// Controllers of pedals that keep notes sounding: sustain, sostenuto, hold 2.
inline constexpr std::array<uint8_t, 3> pedalControllers{64, 66, 69};
inline constexpr uint8_t pedalDown = 64; ///< the least value that holds

/// Many players end a note by one without velocity.
inline bool endsNote(const PMidiEvent& event)
{
  return event.getStatus() == 0x80 || (event.getStatus() == 0x90 && event.getData2() == 0);
}

/// Without which something would sound on: the end of a note, a pedal's release, all notes off.
inline bool letsGo(const PMidiEvent& event)
{
  const uint8_t number = event.getData1();
  const bool isUp = event.getData2() < pedalDown &&
                    std::ranges::find(pedalControllers, number) != pedalControllers.end();
  return endsNote(event) || (event.getStatus() == 0xB0 && (number == 123 || isUp));
}

inline bool beginsNote(const PMidiEvent& event)
{
  return event.getStatus() == 0x90 && event.getData2() > 0;
}

/// Notes that began in a queue and whose end wasn't met yet.
class OpenNotes {
public:
  void begin(const PMidiEvent& note) { ++countOf(note); }
  bool end(const PMidiEvent& note) ///< whether one had begun
  {
    uint32_t& count = countOf(note);
    return count > 0 && count-- > 0;
  }

private:
  uint32_t& countOf(const PMidiEvent& note)
  {
    return counts_[note.getChannel()][note.getData1() & 127];
  }

  uint32_t counts_[16][128] = {};
};

} // namespace orbi
