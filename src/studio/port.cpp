#include "studio/port.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/dependencies.h"
#include "foundation/message.h"
#include "studio/device.h"
#include "studio/event.h"
#include "studio/port_id.h"
#include "studio/port_registry.h"

namespace orbi {

// Ports belong to an owner, who makes them.
CM_REGISTER_ABSTRACT(PPort);
CM_REGISTER_ABSTRACT(PInput);
CM_REGISTER_ABSTRACT(POutput);
CM_REGISTER_ABSTRACT(PMultiInput);
CM_REGISTER_ABSTRACT(PMultiOutput);

namespace {

constexpr const char* keyUserName = "UserName";
constexpr const char* keyHidden = "Hidden";

bool sameWord(const char* a, const char* b)
{
  return a && b && std::strcmp(a, b) == 0;
}

PPort* portOf(CmObject* connection)
{
  return static_cast<PPort*>(connection);
}

std::vector<Ref<PPort>> oppositePorts(const PDevice& device, const PPort& port)
{
  std::vector<Ref<PPort>> ports;
  const int32_t count = port.isOutput() ? device.countInputs() : device.countOutputs();
  for (int32_t i = 0; i < count; ++i)
    ports.push_back(port.isOutput() ? Ref<PPort>(Ref<PInput>::share(device.inputAt(i)))
                                    : Ref<PPort>(Ref<POutput>::share(device.outputAt(i))));
  return ports;
}

void tellRegistry(PPort& port, PPortNotice notice)
{
  if (PPortRegistry* registry = PPortRegistry::instance())
    registry->notifyPortChange(&port, notice);
}

} // namespace

PPort::PPort(CmObject* owner, const CmString& name, uint32_t flags)
    : portFlags_(flags), owner_(owner), name_(name)
{
}

PPort::~PPort()
{
  removeDependent(nullptr);
}

// Kind

bool PPort::isType(const char* type) const
{
  return sameWord(getType(), type);
}

bool PPort::isSubtype(const char* subtype) const
{
  return sameWord(getSubtype(), subtype);
}

// Identity

const FNode* PPort::ownerNode() const
{
  if (!ownerNode_)
    ownerNode_ = castTo<FNode>(owner_);
  return ownerNode_;
}

std::string_view PPort::deviceName() const
{
  const FNode* node = ownerNode();
  return node ? node->getName().view() : std::string_view();
}

bool PPort::getDeviceName(CmString& out) const
{
  out.set(deviceName());
  return !out.isEmpty();
}

bool PPort::getID(CmString& out) const
{
  out = makePortID(isOutput(), deviceName(), name_.view());
  return true;
}

/// One of many ports is looked for, and most of them differ in their names already.
bool PPort::hasID(std::string_view id) const
{
  return portIDEndsWith(id, isOutput(), name_.view()) && isMeantBy(id);
}

bool PPort::isMeantBy(std::string_view id) const
{
  return portIDEquals(id, isOutput(), deviceName(), name_.view());
}

void PPort::idChanged()
{
  if (PPortRegistry* registry = hasFlag(portIsRegistered) ? PPortRegistry::instance() : nullptr)
    registry->updateID(*this);
}

void PPort::ownerGoes()
{
  owner_ = nullptr;
  ownerNode_ = nullptr;
  idChanged();
}

// Names and state

void PPort::setName(const char* name)
{
  name_.set(name);
  idChanged();
}

void PPort::setUserName(const char* name)
{
  const CmString former = userName_;
  userName_.set(name);
  if (userName_.view() != former.view())
    tellRegistry(*this, noticePortName);
}

void PPort::getDisplayName(CmString& out) const
{
  out = userName_.isEmpty() ? getSystemName() : userName_;
}

void PPort::setFlag(PPortFlag flag, bool on)
{
  portFlags_ = on ? portFlags_ | flag : portFlags_ & ~uint32_t{flag};
}

void PPort::setVisible(bool visible)
{
  if (visible == isVisible())
    return;
  setFlag(portIsHidden, !visible);
  tellRegistry(*this, noticePortVisibility);
}

void PPort::setEnabled(bool enabled)
{
  setFlag(portIsDisabled, !enabled);
  forEachConnection([this](PPort& port) { port.peerEnabledChanged(this); });
}

// Connections

bool PPort::connect(PPort* other)
{
  if (!addConnection(other))
    return false;
  if (other->addConnection(this))
    return true;
  removeConnection(other);
  return false;
}

bool PPort::disconnect(PPort* other)
{
  return other && unlink(*other);
}

bool PPort::disconnectAll()
{
  forEachConnection([this](PPort& port) { unlink(port); });
  return true;
}

/// The output's half goes first: when the input hears of it, no event can come any more.
bool PPort::unlink(PPort& other)
{
  Ref<PPort> output = Ref<PPort>::share(this);
  Ref<PPort> input = Ref<PPort>::share(&other);
  if (!isOutput())
    std::swap(output, input);
  const bool wasInOutput = output->removeConnection(input.get());
  return input->removeConnection(output.get()) || wasInOutput;
}

PPort* PPort::connectionAt(int32_t index) const
{
  return portOf(connections_.at(index));
}

bool PPort::isHeldExclusively() const
{
  const PPort* first = connectionAt(0);
  return first && first->hasFlag(portIsExclusive);
}

/// A single port gives its connection up for a new one. One with several does so where either side
/// of it is exclusive.
bool PPort::mustYieldTo(const PPort& other) const
{
  return !hasFlag(portIsMulti) || other.hasFlag(portIsExclusive) || isHeldExclusively();
}

bool PPort::addConnection(PPort* other)
{
  if (!other || other == this || isConnectedTo(other))
    return false;
  if (mustYieldTo(*other))
    disconnectAll();
  if (!connections_.add(other))
    return false;
  connectionsChanged();
  deferChanged(portConnectionsChanged);
  return true;
}

bool PPort::removeConnection(PPort* other)
{
  Ref<PPort> kept = Ref<PPort>::share(other);
  if (!connections_.remove(other))
    return false;
  connectionsChanged();
  deferChanged(portConnectionsChanged);
  return true;
}

/// Those that stand there now, as the action may connect and disconnect; who was disconnected
/// meanwhile is left out.
template <class Action>
void PPort::forEachConnection(const Action& action)
{
  std::vector<Ref<PPort>> ports;
  for (CmObject* connection : connections_)
    ports.push_back(Ref<PPort>::share(portOf(connection)));
  Ref<PPort> kept = Ref<PPort>::share(this);
  for (const Ref<PPort>& port : ports)
    if (isConnectedTo(port.get()))
      action(*port);
}

// Messages

void PPort::relayToConnections(FMessage& message)
{
  forEachConnection([&](PPort& port) { port.relayIn(message); });
}

void PPort::relayIn(FMessage& message)
{
  auto* device = castTo<PDevice>(owner_);
  if (!device || hasFlag(portHasNoRelay) || isRelaying_)
    return;
  const std::vector<Ref<PPort>> opposite = oppositePorts(*device, *this);
  Ref<PPort> kept = Ref<PPort>::share(this);
  isRelaying_ = true;
  for (const Ref<PPort>& port : opposite)
    port->relayToConnections(message);
  isRelaying_ = false;
}

void PPort::notifyConnections(FMessage& message)
{
  forEachConnection([&](PPort& port) { port.handleMessage(message); });
}

void PPort::forwardToConnections(FMessage& message)
{
  forEachConnection([&](PPort& port) { port.forwardIn(message); });
}

// Settings

void PPort::writeSettings(FAttributes& attributes) const
{
  if (!userName_.isEmpty() && userName_.view() != name_.view())
    attributes.setString(keyUserName, userName_.text());
  if (hasFlag(portIsHidden))
    attributes.setInt(keyHidden, 1);
}

void PPort::readSettings(const FAttributes& attributes)
{
  userName_.set(attributes.getString(keyUserName));
  setFlag(portIsHidden, attributes.getInt(keyHidden) >= 1);
}

// The interface

CmResult PPort::queryInterface(const FUID& id, void** out)
{
  if (out && id == IPort::interfaceId) {
    retain();
    *out = static_cast<IPort*>(this);
    return resultOk;
  }
  return CmObject::queryInterface(id, out);
}

CmResult PPort::getIDText(IStringSink* sink)
{
  if (!sink)
    return resultBadArgument;
  return getID(outsideText_) ? sink->setText(outsideText_.text()) : resultFailed;
}

const char* PPort::getDeviceNameText()
{
  getDeviceName(outsideText_);
  return outsideText_.text();
}

const char* PPort::getDisplayNameText(bool withUserName)
{
  if (!withUserName)
    return getSystemName().text();
  getDisplayName(outsideText_);
  return outsideText_.text();
}

// Events

bool PInput::receive(PEvent&)
{
  return false;
}

void POutput::send(PEvent& event)
{
  published_.visitInputs([&event](PInput& input) { input.receive(event); });
}

void POutput::connectionsChanged()
{
  PPublishedConnections::Inputs inputs;
  for (CmObject* connection : connections())
    if (auto* input = castTo<PInput>(connection)) // a stand-in for a missing port takes nothing
      inputs.push_back(Ref<PInput>::share(input));
  published_.publish(std::move(inputs));
}

} // namespace orbi
