#include "platform/midi_port_names.h"

#include <set>
#include <utility>

namespace orbi::platform {

namespace {

constexpr std::size_t longestName = 200;
constexpr std::string_view namelessPort = "MIDI Port";

/// Without control characters, and with one space where there are several or some at an end.
std::string tidy(std::string_view text)
{
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > ' ' && byte != 0x7F)
      result += c;
    else if (!result.empty() && result.back() != ' ')
      result += ' ';
  }
  if (!result.empty() && result.back() == ' ')
    result.pop_back();
  return result;
}

} // namespace

std::string cutUtf8(std::string_view text, std::size_t longest)
{
  if (text.size() > longest) {
    while (longest > 0 && (static_cast<unsigned char>(text[longest]) & 0xC0) == 0x80)
      --longest;
    text = text.substr(0, longest);
  }
  return std::string(text);
}

std::string midiPortName(std::string_view client, std::string_view port)
{
  const std::string tidyClient = tidy(client);
  std::string name = tidy(port);
  if (name.empty())
    name = tidyClient;
  else if (!name.starts_with(tidyClient))
    name = tidyClient + " " + name;
  return name.empty() ? std::string(namelessPort) : tidy(cutUtf8(name, longestName));
}

std::vector<std::string> MidiPortNamer::name(const std::vector<Port>& ports)
{
  std::map<std::string, Given> kept;
  std::set<std::string> taken;
  for (const Port& port : ports)
    if (auto found = given_.find(port.identity);
        found != given_.end() && found->second.wish == port.wish) {
      taken.insert(found->second.name);
      kept.insert(*found);
    }
  given_ = std::move(kept);

  std::vector<std::string> names;
  for (const Port& port : ports) {
    auto [place, isNew] = given_.try_emplace(port.identity, Given{port.wish, port.wish});
    for (int number = 2; isNew && !taken.insert(place->second.name).second; ++number)
      place->second.name = port.wish + " " + std::to_string(number);
    names.push_back(place->second.name);
  }
  return names;
}

} // namespace orbi::platform
