#include "studio/port_order.h"

#include "studio/port.h"

namespace orbi {

namespace {

constexpr const char* portKinds[] = {"merged",       "virtual", "proxy",
                                     systemPortKind, "extern",  "side"};

int kindOf(const PPort& port)
{
  int place = 0;
  for (const char* kind : portKinds) {
    if (port.isSubtype(kind))
      break;
    ++place;
  }
  return place;
}

} // namespace

int comparePortDirections(const PPort& a, const PPort& b)
{
  return b.isOutput() - a.isOutput();
}

int comparePortTypes(const PPort& a, const PPort& b)
{
  return compareTexts(a.getType(), b.getType(), TextCompare::bytes);
}

int comparePortKinds(const PPort& a, const PPort& b)
{
  return kindOf(a) - kindOf(b);
}

int comparePortKindsAndNames(const PPort& a, const PPort& b)
{
  const int byKind = comparePortKinds(a, b);
  return byKind != 0 ? byKind
                     : compareTexts(a.getName().text(), b.getName().text(), TextCompare::bytes);
}

} // namespace orbi
