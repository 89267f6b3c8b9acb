#include "midi/midi_interface.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "persist/default_pool.h"

#include <cstring>

namespace orbi {

CM_REGISTER_ABSTRACT(PMidiInterface);

namespace {

enum OldPortFlag : int64_t { oldPortIsHidden = 1 };

/// The keys begin with the direction as the user sees it: a socket that brings MIDI in is an output
/// of its device.
void takeOldSettingsOf(PPort& port, FDefaults& settings)
{
  const std::string name = port.getSystemName().text();
  const std::string direction = port.isOutput() ? "In " : "Out ";
  const std::string labelKey = direction + name;
  const std::string flagsKey = direction + "Flags " + name;
  int64_t flags = 0;
  if (settings.has(labelKey.c_str()))
    port.setUserName(settings.getString(labelKey.c_str()));
  if (settings.getInt(flagsKey.c_str(), flags))
    port.setVisible((flags & oldPortIsHidden) == 0);
  settings.remove(labelKey.c_str());
  settings.remove(flagsKey.c_str());
}

} // namespace

UValue* PMidiInterface::getValue(const char* name)
{
  if (name && std::strcmp(name, systemTimestampKey) == 0)
    return &useSystemTimestamp_;
  return CmClass::getValue(name);
}

// Ports

bool PMidiInterface::addInput(Ref<PInput> port, Registration registration)
{
  Ref<PInput> kept = port;
  return CmClass::addInput(std::move(port), registration) &&
         addChild(make<PMidiPortNode>(*kept).get());
}

bool PMidiInterface::addOutput(Ref<POutput> port, Registration registration)
{
  Ref<POutput> kept = port;
  return CmClass::addOutput(std::move(port), registration) &&
         addChild(make<PMidiPortNode>(*kept).get());
}

bool PMidiInterface::removeInput(PInput* port)
{
  return removeNode(port) && CmClass::removeInput(port);
}

bool PMidiInterface::removeOutput(POutput* port)
{
  return removeNode(port) && CmClass::removeOutput(port);
}

bool PMidiInterface::removeNode(const PPort* port)
{
  PMidiPortNode* node = port ? portNode(*port) : nullptr;
  return node && removeChild(node);
}

/// The port's own node before one that only would fit: ports may have equal names.
PMidiPortNode* PMidiInterface::portNode(const PPort& port) const
{
  PMidiPortNode* fitting = nullptr;
  for (int32_t i = 0; i < countChildren(); ++i) {
    auto* node = castTo<PMidiPortNode>(childAt(i));
    if (!node)
      continue;
    if (node->port() == &port)
      return node;
    if (!fitting && node->standsFor(port))
      fitting = node;
  }
  return fitting;
}

PMidiParameterNode* PMidiInterface::findNode(const PPort& port, uint32_t channel) const
{
  PMidiPortNode* node = portNode(port);
  if (!node || channel >= wholePort)
    return node;
  return node->channelNode(static_cast<int32_t>(channel));
}

// Running

bool PMidiInterface::activate()
{
  for (int32_t i = 0; i < countOutputs(); ++i)
    takeOldSettings(*outputAt(i));
  for (int32_t i = 0; i < countInputs(); ++i)
    takeOldSettings(*inputAt(i));
  return CmClass::activate();
}

void PMidiInterface::takeOldSettings(PPort& port)
{
  FDefaultPool* pool = FDefaultPool::instance();
  if (FDefaults* settings = pool ? pool->getGroup(getDisplayName().text(), 0, false) : nullptr)
    takeOldSettingsOf(port, *settings);
}

int32_t PMidiInterface::handleMessage(FMessage& message)
{
  const bool connects = message.isMessage("ConnectMidiThru");
  if (!connects && !message.isMessage("DisconnectMidiThru"))
    return CmClass::handleMessage(message);
  auto* to = message.getObject<PMidiOutSocket>("Input");
  auto* from = message.getObject<PMidiInSocket>("Output");
  if (!to || !from)
    return 0;
  const auto source = static_cast<int32_t>(message.getInt("SourceChannel"));
  const auto destination = static_cast<int32_t>(message.getInt("DestinationChannel"));
  return connects ? from->connectThru(*to, source, destination)
                  : from->disconnectThru(*to, source, destination);
}

} // namespace orbi
