#pragma once

namespace orbi {

class PPort;

/// The subtype of the sockets that the system's MIDI ports get; their settings are remembered.
inline constexpr const char* systemPortKind = "system";

// How lists of ports are ordered: below 0, 0 or above 0, as with compare. They are used as a chain,
// in the order in which they stand here.
int comparePortDirections(const PPort& a, const PPort& b); ///< outputs first
int comparePortTypes(const PPort& a, const PPort& b);      ///< by bytes; none counts as empty
int comparePortKinds(const PPort& a, const PPort& b); ///< merged ports first, unknown kinds last
int comparePortKindsAndNames(const PPort& a, const PPort& b); ///< within a kind by the name's bytes

} // namespace orbi
