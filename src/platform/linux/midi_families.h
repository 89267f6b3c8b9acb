#pragma once

#include "platform/midi_system.h"

namespace orbi::platform {

std::unique_ptr<MidiSystem> makeAlsaMidi(const std::string& instrumentName);
std::unique_ptr<MidiSystem> makeJackMidi(const std::string& instrumentName);

} // namespace orbi::platform
