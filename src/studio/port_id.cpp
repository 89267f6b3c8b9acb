#include "studio/port_id.h"

namespace orbi {

bool isPortID(std::string_view id)
{
  return id.size() >= 2 && (id[0] == outputPortLetter || id[0] == inputPortLetter) &&
         id[1] == portIDBar;
}

bool isOutputPortID(std::string_view id)
{
  return isPortID(id) && id[0] == outputPortLetter;
}

std::string_view deviceNameInPortID(std::string_view id)
{
  const size_t first = id.find(portIDBar);
  const size_t last = id.rfind(portIDBar);
  return first == last ? std::string_view() : id.substr(first + 1, last - first - 1);
}

std::string_view portNameInPortID(std::string_view id)
{
  const size_t last = id.rfind(portIDBar);
  return last == std::string_view::npos ? std::string_view() : id.substr(last + 1);
}

CmString makePortID(bool isOutput, std::string_view deviceName, std::string_view portName)
{
  const char letter = isOutput ? outputPortLetter : inputPortLetter;
  const std::string_view bar(&portIDBar, 1);
  CmString id(std::string_view(&letter, 1));
  for (std::string_view part : {bar, deviceName, bar, portName})
    id.append(part);
  return id;
}

bool portIDEquals(std::string_view id, bool isOutput, std::string_view deviceName,
                  std::string_view portName)
{
  constexpr size_t begin = 2; // behind the letter and the first bar
  return id.size() == begin + deviceName.size() + 1 + portName.size() && id[1] == portIDBar &&
         portIDEndsWith(id, isOutput, portName) &&
         id.substr(begin, deviceName.size()) == deviceName;
}

} // namespace orbi
