#include "studio/port_registry.h"

#include "foundation/class_registry.h"
#include "foundation/messenger.h"
#include "foundation/startup_records.h"
#include "persist/default_pool.h"
#include "studio/port_alias.h"
#include "studio/port_filter.h"
#include "studio/port_id.h"
#include "studio/port_order.h"

namespace orbi {

CM_REGISTER_ABSTRACT(PPortRegistry); // one, made below

namespace {

/// It lives as long as the program, since devices look for it until their very end.
bool createRegistry()
{
  if (!PPortRegistry::instance())
    new PPortRegistry;
  FDefaultPool::addLoadCallback([] {
    if (PPortRegistry* registry = PPortRegistry::instance())
      registry->loadSettings();
  });
  FDefaultPool::addSaveCallback([] {
    if (PPortRegistry* registry = PPortRegistry::instance())
      registry->saveSettings();
  });
  return true;
}

const FPreInitializer initializer(createRegistry, PPortRegistry::className, 0);

PPort& portOf(CmObject* item)
{
  return *static_cast<PPort*>(item);
}

bool hasRole(PPort& port, const CmString& wanted)
{
  void* found = nullptr;
  if (port.queryInterface(IPortRole::interfaceId, &found) != resultOk)
    return false;
  auto* role = static_cast<IPortRole*>(found);
  const bool fits = wanted.compare(role->getRoleText(), TextCompare::ignoreCase) == 0;
  role->release();
  return fits;
}

/// Set, and equal.
bool matches(std::string_view wanted, const CmString& text)
{
  return !wanted.empty() && text == wanted;
}

bool fitsDescriptor(PPort& port, const PPortDescriptor& wanted)
{
  if (!isPortID(wanted.id.view()) || port.isOutput() != isOutputPortID(wanted.id.view()))
    return false;
  if (!port.isType(wanted.type.text()))
    return false;
  if (!wanted.subtype.isEmpty() && !port.isSubtype(wanted.subtype.text()))
    return false;
  return matches(portNameInPortID(wanted.id.view()), port.getName()) ||
         matches(wanted.userName.view(), port.getUserName()) ||
         matches(wanted.systemName.view(), port.getSystemName()) ||
         (wanted.type.compare("audio", TextCompare::ignoreCase) == 0 && !wanted.role.isEmpty() &&
          hasRole(port, wanted.role));
}

} // namespace

PPortRegistry::PPortRegistry()
{
  if (!instance_)
    instance_ = this;
}

PPortRegistry::~PPortRegistry()
{
  if (instance_ == this)
    instance_ = nullptr; // before the aliases lose their connections and look for it
  while (CmObject* alias = aliases_.last()) {
    portOf(alias).disconnectAll();
    aliases_.remove(alias);
  }
  for (CmObject* port : ports_)
    portOf(port).setFlag(portIsRegistered, false);
  removeDependent(nullptr);
  if (FMessenger* messenger = FMessenger::instance())
    messenger->remove(static_cast<CmObject*>(this));
}

// Ports

bool PPortRegistry::registerPort(PPort* port)
{
  if (!port || port->hasFlag(portIsRegistered))
    return false;
  enrol(*port);
  takeOverAliases(*port);
  if (port->isSubtype(systemPortKind))
    restoreSettings(*port);
  append(*port);
  return true;
}

void PPortRegistry::enrol(PPort& port)
{
  port.setFlag(portIsRegistered);
  if (port.portNumber_ == PPort::noNumber)
    port.portNumber_ = ++lastNumber_;
}

void PPortRegistry::append(PPort& port)
{
  ports_.add(&port);
  index_.add(port);
  notifyPortChange(&port, noticePortSet);
}

/// The connections of a stand-in go to the port that came back.
void PPortRegistry::takeOverAliases(PPort& port)
{
  CmString id;
  std::vector<Ref<PAliasPort>> aliases;
  if (!aliases_.isEmpty() && port.getID(id))
    for (CmObject* item : aliases_)
      if (portOf(item).hasID(id.view()))
        aliases.push_back(Ref<PAliasPort>::share(static_cast<PAliasPort*>(item)));
  for (const Ref<PAliasPort>& alias : aliases) {
    std::vector<Ref<PPort>> peers;
    for (int32_t i = 0; i < alias->countConnections(); ++i)
      peers.push_back(Ref<PPort>::share(alias->connectionAt(i)));
    alias->disconnectAll();
    for (const Ref<PPort>& peer : peers)
      port.connect(peer.get());
    if (peers.empty())
      alias->postCheck(); // nothing else would make it go
  }
}

bool PPortRegistry::unregisterPort(PPort* port)
{
  if (!port || !port->hasFlag(portIsRegistered))
    return false;
  Ref<PPort> kept = Ref<PPort>::share(port);
  if (port->isSubtype(systemPortKind))
    storeSettings(*port);
  port->setFlag(portIsRegistered, false);
  index_.remove(*port);
  ports_.remove(port);
  aliases_.remove(port);
  notifyPortChange(port, noticePortSet);
  return true;
}

void PPortRegistry::updateID(PPort& port)
{
  if (!index_.isOutdated(port))
    return;
  const auto kept = Ref<PPort>::share(&port);
  const bool isSystem = port.isSubtype(systemPortKind);
  if (isSystem)
    storeSettings(port);
  index_.update(port);
  takeOverAliases(port);
  if (isSystem)
    restoreSettings(port);
  notifyPortChange(&port, noticePortSet);
}

PPort* PPortRegistry::portNumberLookup(uint32_t number) const
{
  for (CmObject* port : ports_)
    if (portOf(port).portNumber() == number)
      return &portOf(port);
  return nullptr;
}

bool PPortRegistry::collectPorts(const PPortFilter& filter, CmArray& list) const
{
  for (CmObject* port : ports_)
    if (filter.accepts(portOf(port)))
      list.add(port);
  return !list.isEmpty();
}

// Search

PPort* PPortRegistry::findPort(const char* id, PortLookup lookup)
{
  if (!id)
    return nullptr;
  PPort* port = index_.find(id);
  return port || lookup == PortLookup::registeredOnly ? port : resolvePort(id);
}

PPort* PPortRegistry::resolvePort(std::string_view id)
{
  if (PPort* mapped = findMapped(id))
    return mapped;
  PPortDescriptor* descriptor = findDescriptor(id);
  if (!descriptor)
    return nullptr;
  if (PPort* fitting = findFitting(*descriptor))
    return fitting;
  PPort* alias = findAlias(id);
  return alias ? alias : createAliasPort(descriptor);
}

/// Only the first mapping of an identifier counts, also when its port isn't there.
PPort* PPortRegistry::findMapped(std::string_view id)
{
  for (CmObject* item : mappings_) {
    const auto* mapping = static_cast<PPortIDMapping*>(item);
    if (mapping->sourceID == id)
      return findPort(mapping->destID.text());
  }
  return nullptr;
}

PPortDescriptor* PPortRegistry::findDescriptor(std::string_view id) const
{
  if (!descriptors_)
    return nullptr;
  for (CmIteration items(*descriptors_); !items.atEnd();)
    if (auto* descriptor = castTo<PPortDescriptor>(items.next());
        descriptor && descriptor->id == id)
      return descriptor;
  return nullptr;
}

/// Of those that fit the one with the fewest connections, the earliest among equal ones.
PPort* PPortRegistry::findFitting(const PPortDescriptor& descriptor) const
{
  PPort* best = nullptr;
  for (CmObject* item : ports_) {
    PPort& port = portOf(item);
    if (fitsDescriptor(port, descriptor) &&
        (!best || port.countConnections() < best->countConnections()))
      best = &port;
  }
  return best;
}

// Aliases

/// Also one whose identifier is malformed, which no port has.
PPort* PPortRegistry::findAlias(std::string_view id) const
{
  for (CmObject* item : aliases_)
    if (auto* alias = static_cast<PAliasPort*>(item); alias->descriptor().id == id)
      return alias;
  return nullptr;
}

PPort* PPortRegistry::createAliasPort(PPortDescriptor* descriptor)
{
  if (!descriptor)
    return nullptr;
  auto* alias = new PAliasPort(*descriptor);
  enrol(*alias);
  aliases_.add(alias);
  append(*alias);
  return alias;
}

int32_t PPortRegistry::handleMessage(FMessage& message)
{
  if (!message.isMessage(PAliasPort::checkMessage))
    return 0;
  auto* alias = message.getObject<PAliasPort>(PAliasPort::keyPort);
  if (alias && aliases_.contains(alias) && !alias->isConnected())
    unregisterPort(alias);
  return 1;
}

// Notices

void PPortRegistry::notifyPortChange(PPort* port, PPortNotice notice)
{
  Ref<PPort> kept = Ref<PPort>::share(port);
  values_.tell(port, notice);
  deferChanged(notice);
  listeners_.tell(port, notice);
}

// The interface

CmResult PPortRegistry::queryInterface(const FUID& id, void** out)
{
  if (out && id == IPortRegistry::interfaceId) {
    retain();
    *out = static_cast<IPortRegistry*>(this);
    return resultOk;
  }
  return CmObject::queryInterface(id, out);
}

IPort* PPortRegistry::portAt(int32_t index)
{
  return static_cast<PPort*>(ports_.at(index));
}

IPort* PPortRegistry::findPortByID(const char* id)
{
  return findPort(id);
}

CmResult PPortRegistry::unregisterExternalPort(FUnknown* port)
{
  auto* known = castTo<PPort>(objectBehind(port));
  if (!known)
    return resultBadArgument;
  return unregisterPort(known) ? resultOk : resultFailed;
}

CmResult PPortRegistry::makePortID(IStringSink* sink, const char* deviceName, const char* portName,
                                   bool isOutput)
{
  if (!sink || !deviceName || !portName)
    return resultBadArgument;
  return sink->setText(orbi::makePortID(isOutput, deviceName, portName).text());
}

} // namespace orbi
