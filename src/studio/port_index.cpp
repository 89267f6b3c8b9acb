#include "studio/port_index.h"

#include "studio/port.h"

#include <algorithm>

namespace orbi {

namespace {

/// Empty for a port that has none.
std::string idNow(const PPort& port)
{
  CmString id;
  return port.getID(id) ? std::string(id.view()) : std::string();
}

} // namespace

void PPortIndex::add(PPort& port)
{
  enter(++arrivals_, port);
}

void PPortIndex::enter(uint64_t arrival, PPort& port)
{
  const Known& known = known_[&port] = {arrival, idNow(port)};
  if (known.id.empty())
    return;
  std::vector<Place>& places = byID_[known.id];
  auto later = std::find_if(places.rbegin(), places.rend(),
                            [arrival](const Place& place) { return place.arrival < arrival; });
  places.insert(later.base(), {arrival, &port});
}

void PPortIndex::remove(const PPort& port)
{
  auto known = known_.find(&port);
  if (known == known_.end())
    return;
  leave(port, known->second);
  known_.erase(known);
}

void PPortIndex::leave(const PPort& port, const Known& known)
{
  auto places = byID_.find(known.id);
  if (places == byID_.end())
    return;
  std::erase_if(places->second, [&port](const Place& place) { return place.port == &port; });
  if (places->second.empty())
    byID_.erase(places);
}

PPort* PPortIndex::find(std::string_view id) const
{
  auto places = byID_.find(id);
  return places == byID_.end() ? nullptr : places->second.front().port;
}

const std::string& PPortIndex::idOf(const PPort& port) const
{
  static const std::string none;
  auto known = known_.find(&port);
  return known == known_.end() ? none : known->second.id;
}

bool PPortIndex::isOutdated(const PPort& port) const
{
  auto known = known_.find(&port);
  return known != known_.end() && known->second.id != idNow(port);
}

void PPortIndex::update(PPort& port)
{
  auto known = known_.find(&port);
  if (known == known_.end())
    return;
  const Known former = known->second;
  leave(port, former);
  enter(former.arrival, port);
}

} // namespace orbi
