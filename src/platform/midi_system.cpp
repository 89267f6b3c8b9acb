#include "platform/midi_system.h"

#include "platform/clock.h"

#include <utility>

namespace orbi::platform {

namespace {

/// The letters and digits alone: bridges write other characters of a name in their own ways.
std::string essence(std::string_view text)
{
  std::string result;
  for (const char c : text) {
    const char lower = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if ((lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9'))
      result += lower;
  }
  return result;
}

} // namespace

bool repeats(const MidiPortInfo& port, const MidiPortInfo& other)
{
  if (!port.isBridge || other.isBridge)
    return false;
  const std::string wanted = essence(other.origin);
  return !wanted.empty() && essence(port.origin).find(wanted) != std::string::npos;
}

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
