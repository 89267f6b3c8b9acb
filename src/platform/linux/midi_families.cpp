#include "platform/linux/midi_families.h"

namespace orbi::platform {

std::vector<std::unique_ptr<MidiSystem>>
makeMidiSystems([[maybe_unused]] const std::string& instrumentName)
{
  std::vector<std::unique_ptr<MidiSystem>> systems;
#ifdef ORBI_HAVE_ALSA
  systems.push_back(makeAlsaMidi(instrumentName));
#endif
#ifdef ORBI_HAVE_JACK
  systems.push_back(makeJackMidi(instrumentName));
#endif
  return systems;
}

} // namespace orbi::platform
