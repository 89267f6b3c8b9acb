#pragma once

#include "foundation/string.h"

namespace orbi {

/// A port's identifier is "I|<device>|<port>" for an output, which carries what comes in from the
/// outside, and "O|<device>|<port>" for an input. Names may hold bars themselves, so taking an
/// identifier apart is a guess; comparing it with a port is not.

inline constexpr char portIDBar = '|';
inline constexpr char outputPortLetter = 'I';
inline constexpr char inputPortLetter = 'O';

bool isPortID(std::string_view id); ///< begins as one
bool isOutputPortID(std::string_view id);
std::string_view deviceNameInPortID(std::string_view id); ///< between the first and the last bar
std::string_view portNameInPortID(std::string_view id);   ///< behind the last bar
CmString makePortID(bool isOutput, std::string_view deviceName, std::string_view portName);

/// Whether makePortID of the parts would give the identifier, without building it.
bool portIDEquals(std::string_view id, bool isOutput, std::string_view deviceName,
                  std::string_view portName);
/// The cheap half of it, which rules most identifiers out.
inline bool portIDEndsWith(std::string_view id, bool isOutput, std::string_view portName)
{
  return id.size() >= portName.size() + 2 && (portName.empty() || portName.back() == id.back()) &&
         id[0] == (isOutput ? outputPortLetter : inputPortLetter) &&
         id[id.size() - portName.size() - 1] == portIDBar && id.ends_with(portName);
}

} // namespace orbi
