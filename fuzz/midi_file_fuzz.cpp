#include "host/midi_file.h"
#include "host/song.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  std::string error;
  const auto song = orbi::readSong(std::span(data, size), error);
  if (song.has_value() != error.empty())
    std::abort();
  double before = 0.0;
  for (size_t i = 0; song && i < song->events.size(); ++i) {
    const orbi::SongEvent& event = song->events[i];
    const bool inside = size_t{event.sysexOffset} + event.sysexBytes <= song->sysex.size();
    if (event.seconds < before || !inside || event.bytes[0] < 0x80)
      std::abort();
    before = event.seconds;
  }
  return 0;
}
