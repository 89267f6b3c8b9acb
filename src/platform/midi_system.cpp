#include "platform/midi_system.h"

#include "platform/clock.h"

#include <utility>

namespace orbi::platform {

namespace {

constexpr std::size_t leastLetters = 3; // of a name that tells one thing from another

/// Of letters and digits alone: bridges write other characters of a name in their own ways.
std::vector<std::string> wordsOf(std::string_view text)
{
  std::vector<std::string> words;
  bool isInside = false;
  for (const char c : text) {
    const char lower = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    const bool counts = (lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9');
    if (counts && !isInside)
      words.emplace_back();
    if (counts)
      words.back() += lower;
    isInside = counts;
  }
  return words;
}

/// Whether whole words from this one on make up the name, wherever the spaces are.
bool beginsWith(std::span<const std::string> words, std::string_view name)
{
  for (const std::string& word : words) {
    if (!name.starts_with(word))
      return false;
    name.remove_prefix(word.size());
    if (name.empty())
      return true;
  }
  return false;
}

} // namespace

bool repeats(const MidiPortInfo& port, const MidiPortInfo& other)
{
  if (!port.isBridge || other.isBridge || other.isVirtual)
    return false;
  std::string wanted;
  for (const std::string& word : wordsOf(other.origin))
    wanted += word;
  const std::vector<std::string> words = wordsOf(port.origin);
  for (std::size_t i = 0; i < words.size() && wanted.size() >= leastLetters; ++i)
    if (beginsWith(std::span(words).subspan(i), wanted))
      return true;
  return false;
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
