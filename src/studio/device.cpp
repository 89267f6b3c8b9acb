#include "studio/device.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "studio/port.h"
#include "studio/port_registry.h"

#include <algorithm>
#include <vector>

namespace orbi {

CM_REGISTER(PDevice);

namespace {

constexpr const char* channelsName = "Channels";

/// What channels hang on. A class of its own, since plain nodes aren't made for a file.
class PDeviceChannels final : public CmClass<PDeviceChannels, PDeviceNode> {
public:
  static constexpr const char* className = "PDeviceChannels";

  PDeviceChannels() : CmClass(channelsName) {}
};
CM_REGISTER(PDeviceChannels);

PPort* portOf(CmObject* item)
{
  return static_cast<PPort*>(item);
}

bool counts(const PPort& port, const char* type)
{
  return !type || port.isType(type);
}

int32_t countPorts(const CmArray& ports, const char* type)
{
  int32_t count = 0;
  for (CmObject* item : ports)
    count += counts(*portOf(item), type) ? 1 : 0;
  return count;
}

PPort* portAt(const CmArray& ports, int32_t index, const char* type)
{
  if (!type)
    return portOf(ports.at(index));
  for (CmObject* item : ports)
    if (counts(*portOf(item), type) && index-- == 0)
      return portOf(item);
  return nullptr;
}

PPort* findPort(const CmArray& ports, const char* name)
{
  for (CmObject* item : ports)
    if (name && portOf(item)->getName() == name)
      return portOf(item);
  return nullptr;
}

template <class Port>
bool addPort(CmArray& ports, Ref<Port> port, PDevice::Registration registration)
{
  Port* added = port.get();
  if (!added || ports.contains(added) || !ports.add(added))
    return false;
  port.detach(); // the array adopts it
  PPortRegistry* registry = PPortRegistry::instance();
  if (registration == PDevice::Registration::registered && registry)
    registry->registerPort(added);
  return true;
}

void detachPort(PPort& port)
{
  port.disconnectAll();
  PPortRegistry* registry = PPortRegistry::instance();
  if (registry && port.hasFlag(portIsRegistered))
    registry->unregisterPort(&port);
}

bool removePort(CmArray& ports, PPort* port)
{
  if (!port || !ports.contains(port))
    return false;
  const auto alive = Ref<PPort>::share(port);
  detachPort(*port);
  port->ownerGoes();
  return ports.remove(port);
}

/// Those who hear of it may add ports and take some away: each has its turn once, if it is there.
template <class Action>
void forEachPort(const CmArray& ports, Action action)
{
  std::vector<Ref<PPort>> met;
  auto isMet = [&met](const PPort* port) {
    return std::find(met.begin(), met.end(), port) != met.end();
  };
  for (int32_t i = 0; PPort* port = portOf(ports.at(i)); ++i) {
    if (isMet(port))
      continue;
    met.push_back(Ref<PPort>::share(port));
    action(*port);
    if (ports.at(i) != port)
      i = -1; // some went, and the others stand elsewhere now
  }
}

bool sameType(const PPort& a, const PPort& b)
{
  return a.getType() ? b.isType(a.getType()) : !b.getType();
}

} // namespace

PDevice::~PDevice()
{
  retain(); // whoever takes a reference for the last call and gives it back doesn't end it twice
  for (const CmArray* ports : {&outputs_, &inputs_})
    forEachPort(*ports, [](PPort& port) {
      detachPort(port);
      port.ownerGoes();
    });
  if (channelsNode_ && channelsNode_->countChildren() > 0)
    removeChild(channelsNode_);
}

bool PDevice::removeChild(FNode* node)
{
  const auto alive = Ref<FNode>::share(node);
  if (!PDeviceNode::removeChild(node))
    return false;
  if (node == channelsNode_)
    channelsNode_ = nullptr;
  return true;
}

void PDevice::nameChanged()
{
  for (const CmArray* ports : {&outputs_, &inputs_})
    forEachPort(*ports, [](PPort& port) { port.idChanged(); });
}

int32_t PDevice::openEditor(int32_t code)
{
  if (code != setupEditor)
    return 0;
  FMessage message("Open Window");
  message.setString("Name", "Setup");
  message.setObject("Device", this);
  return tellApplication(message);
}

// Running

bool PDevice::activate()
{
  forEachPort(outputs_, [](PPort& port) { port.activate(); });
  forEachPort(inputs_, [](PPort& port) { port.activate(); });
  return true;
}

bool PDevice::deactivate()
{
  forEachPort(outputs_, [](PPort& port) { port.deactivate(); });
  forEachPort(inputs_, [](PPort& port) { port.deactivate(); });
  return true;
}

bool PDevice::restart()
{
  deactivate();
  const bool isActive = activate();
  onStudioStarted();
  return isActive;
}

// Channels

int32_t PDevice::countChannels() const
{
  return channelsNode_ ? channelsNode_->countChildren() : 0;
}

FNode* PDevice::channelAt(int32_t index) const
{
  return channelsNode_ ? channelsNode_->childAt(index) : nullptr;
}

int32_t PDevice::indexOfChannel(const FNode* node) const
{
  return channelsNode_ ? channelsNode_->indexOfChild(node) : -1;
}

bool PDevice::addChannel(FNode* node, int32_t index)
{
  if (!node)
    return false;
  findChannels();
  if (!channelsNode_)
    if (const auto made = make<PDeviceChannels>();
        addChild(made.get()) && made->getParent() == this)
      channelsNode_ = made.get();
  return channelsNode_ && channelsNode_->insertChild(node, index);
}

/// One that was loaded takes the place.
void PDevice::findChannels()
{
  if (!channelsNode_)
    channelsNode_ = castTo<PDeviceNode>(findChildByName(channelsName));
}

bool PDevice::loadAttributes(const FAttributes& attributes)
{
  const bool complete = PDeviceNode::loadAttributes(attributes);
  findChannels();
  return complete;
}

bool PDevice::removeChannelAt(int32_t index)
{
  return removeChannel(channelAt(index));
}

bool PDevice::removeChannel(FNode* node)
{
  return channelsNode_ && channelsNode_->removeChild(node);
}

// Ports

int32_t PDevice::countInputs(const char* type) const
{
  return countPorts(inputs_, type);
}

PInput* PDevice::inputAt(int32_t index, const char* type) const
{
  return static_cast<PInput*>(portAt(inputs_, index, type));
}

PInput* PDevice::findInput(const char* name) const
{
  return static_cast<PInput*>(findPort(inputs_, name));
}

bool PDevice::addInput(Ref<PInput> port, Registration registration)
{
  return addPort(inputs_, std::move(port), registration);
}

bool PDevice::removeInput(PInput* port)
{
  return removePort(inputs_, port);
}

int32_t PDevice::countOutputs(const char* type) const
{
  return countPorts(outputs_, type);
}

POutput* PDevice::outputAt(int32_t index, const char* type) const
{
  return static_cast<POutput*>(portAt(outputs_, index, type));
}

POutput* PDevice::findOutput(const char* name) const
{
  return static_cast<POutput*>(findPort(outputs_, name));
}

bool PDevice::addOutput(Ref<POutput> port, Registration registration)
{
  return addPort(outputs_, std::move(port), registration);
}

bool PDevice::removeOutput(POutput* port)
{
  return removePort(outputs_, port);
}

PPort* PDevice::getPortByName(const char* deviceName, const char* portName, PortSide side) const
{
  if (!deviceName || !(getName() == deviceName))
    return nullptr;
  return side == PortSide::input ? static_cast<PPort*>(findInput(portName)) : findOutput(portName);
}

void PDevice::disconnectPorts()
{
  forEachPort(outputs_, [](PPort& port) { port.disconnectAll(); });
  forEachPort(inputs_, [](PPort& port) { port.disconnectAll(); });
}

// For callers from outside

CmResult PDevice::queryInterface(const FUID& id, void** out)
{
  if (out && id == IPortContainer::interfaceId) {
    retain();
    *out = static_cast<IPortContainer*>(this);
    return resultOk;
  }
  return PDeviceNode::queryInterface(id, out);
}

/// The device's port that goes with one of somebody else's.
PPort* PDevice::counterpartOf(const PPort& port) const
{
  return port.isOutput() ? static_cast<PPort*>(inputAt(0)) : outputAt(0);
}

CmResult PDevice::connectPort(FUnknown* outside)
{
  if (!outside) {
    disconnectPorts();
    return resultOk;
  }
  const auto port = Ref<PPort>::share(castTo<PPort>(objectBehind(outside)));
  if (!port)
    return resultBadArgument;
  const auto own = Ref<PPort>::share(counterpartOf(*port));
  if (!own)
    return resultFailed;
  if (!sameType(*own, *port))
    return resultBadArgument;
  own->disconnectAll();
  return own->connect(port.get()) ? resultOk : resultFailed;
}

bool PDevice::isPortConnected(FUnknown* outside)
{
  const auto* port = castTo<PPort>(objectBehind(outside));
  const PPort* own = port ? counterpartOf(*port) : nullptr;
  return own && own->isConnectedTo(port);
}

} // namespace orbi
