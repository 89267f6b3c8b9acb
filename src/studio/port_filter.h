#pragma once

#include "foundation/string.h"

#include <vector>

namespace orbi {

class PPort;

enum class PortDirection : uint16_t { outputs = 0, inputs = 1, any = 2 };
enum class PortVisibility : uint16_t { visible = 0, hidden = 1, any = 2 };
enum class PortConnection : uint16_t {
  connected = 0,
  unconnected = 1,
  notExclusive = 2, ///< not held by an exclusive port
  any = 3
};

/// Selects ports; one has to pass all of it.
struct PPortFilter {
  PortDirection direction = PortDirection::any;
  PortVisibility visibility = PortVisibility::visible;
  PortConnection connection = PortConnection::any;
  CmString type;             ///< empty: any
  CmString subtypes;         ///< names separated by bars, of which one has to hold; empty: any
  CmString excludedSubtypes; ///< likewise, of which none may hold
  const CmObject* device = nullptr; ///< the owner, only compared; null: any
  std::vector<const PPort*> excludedPorts;

  void addSubtype(std::string_view name);
  void addExcludedSubtype(std::string_view name);
  bool accepts(const PPort& port) const;
};

} // namespace orbi
