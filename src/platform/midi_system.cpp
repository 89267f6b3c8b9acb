#include "platform/midi_system.h"

#include "platform/clock.h"

#include <utility>

namespace orbi::platform {

std::uint32_t MidiSystem::milliseconds()
{
  return static_cast<std::uint32_t>(steadyNanoseconds() / 1'000'000);
}

bool MidiSystem::replacePorts(std::vector<MidiPortInfo> inputs, std::vector<MidiPortInfo> outputs)
{
  const bool changed = inputs != inputs_ || outputs != outputs_;
  inputs_ = std::move(inputs);
  outputs_ = std::move(outputs);
  return changed;
}

} // namespace orbi::platform
