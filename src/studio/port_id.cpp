#include "studio/port_id.h"

namespace orbi {

namespace {

constexpr char outputLetter = 'I';
constexpr char inputLetter = 'O';
constexpr size_t bareLength = 3; ///< the letter and the two bars

} // namespace

bool isPortID(std::string_view id)
{
  return id.size() >= 2 && (id[0] == outputLetter || id[0] == inputLetter) && id[1] == portIDBar;
}

bool isOutputPortID(std::string_view id)
{
  return isPortID(id) && id[0] == outputLetter;
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
  const char letter = isOutput ? outputLetter : inputLetter;
  const std::string_view bar(&portIDBar, 1);
  CmString id(std::string_view(&letter, 1));
  for (std::string_view part : {bar, deviceName, bar, portName})
    id.append(part);
  return id;
}

bool portIDEndsWith(std::string_view id, bool isOutput, std::string_view portName)
{
  return id.size() >= bareLength + portName.size() && isOutputPortID(id) == isOutput &&
         id.ends_with(portName) && id[id.size() - portName.size() - 1] == portIDBar;
}

bool portIDEquals(std::string_view id, bool isOutput, std::string_view deviceName,
                  std::string_view portName)
{
  return id.size() == bareLength + deviceName.size() + portName.size() && isPortID(id) &&
         portIDEndsWith(id, isOutput, portName) && id.substr(2, deviceName.size()) == deviceName;
}

} // namespace orbi
