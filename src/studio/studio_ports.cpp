#include "studio/studio_ports.h"

#include "studio/device.h"
#include "studio/port.h"
#include "studio/port_registry.h"

#include <vector>

namespace orbi {

namespace {

/// Marks a port that was registered when its device left.
constexpr auto portLeft = static_cast<PPortFlag>(1u << 31);

std::vector<Ref<PPort>> portsOf(const PDevice& device)
{
  std::vector<Ref<PPort>> ports;
  for (int32_t i = 0; i < device.countOutputs(); ++i)
    ports.push_back(Ref<POutput>::share(device.outputAt(i)));
  for (int32_t i = 0; i < device.countInputs(); ++i)
    ports.push_back(Ref<PInput>::share(device.inputAt(i)));
  return ports;
}

} // namespace

void takePortsAway(PDevice& device)
{
  PPortRegistry* registry = PPortRegistry::instance();
  for (const Ref<PPort>& port : portsOf(device)) {
    port->disconnectAll();
    if (registry && registry->unregisterPort(port.get()))
      port->setFlag(portLeft);
  }
}

void bringPortsBack(PDevice& device)
{
  PPortRegistry* registry = PPortRegistry::instance();
  for (const Ref<PPort>& port : portsOf(device))
    if (registry && port->hasFlag(portLeft)) {
      port->setFlag(portLeft, false);
      registry->registerPort(port.get());
    }
}

} // namespace orbi
