#include "studio/port_filter.h"

#include "studio/port.h"

#include <algorithm>

namespace orbi {

namespace {

constexpr char separator = '|';

void addName(CmString& names, std::string_view name)
{
  if (!names.isEmpty())
    names.append(std::string_view(&separator, 1));
  names.append(name);
}

/// Without taking the names out: a filter is asked for each of many ports.
bool holds(std::string_view names, std::string_view wanted)
{
  while (!names.empty()) {
    const size_t end = std::min(names.find(separator), names.size());
    if (end > 0 && names.substr(0, end) == wanted)
      return true;
    names.remove_prefix(std::min(end + 1, names.size()));
  }
  return false;
}

bool acceptsKind(const PPortFilter& filter, const char* subtype)
{
  const std::string_view kind = subtype ? subtype : "";
  return !holds(filter.excludedSubtypes.view(), kind) &&
         (filter.subtypes.isEmpty() || holds(filter.subtypes.view(), kind));
}

bool acceptsConnection(PortConnection wanted, const PPort& port)
{
  switch (wanted) {
  case PortConnection::connected:
    return port.isConnected();
  case PortConnection::unconnected:
    return !port.isConnected();
  case PortConnection::notExclusive:
    return !port.isHeldExclusively();
  case PortConnection::any:
    break;
  }
  return true;
}

} // namespace

void PPortFilter::addSubtype(std::string_view name)
{
  addName(subtypes, name);
}

void PPortFilter::addExcludedSubtype(std::string_view name)
{
  addName(excludedSubtypes, name);
}

bool PPortFilter::accepts(const PPort& port) const
{
  if (visibility != PortVisibility::any &&
      port.isVisible() != (visibility == PortVisibility::visible))
    return false;
  if (direction != PortDirection::any && port.isOutput() != (direction == PortDirection::outputs))
    return false;
  return acceptsConnection(connection, port) && (type.isEmpty() || port.isType(type.text())) &&
         acceptsKind(*this, port.getSubtype()) && (!device || device == port.owner()) &&
         std::find(excludedPorts.begin(), excludedPorts.end(), &port) == excludedPorts.end();
}

} // namespace orbi
