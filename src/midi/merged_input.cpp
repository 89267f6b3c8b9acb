#include "midi/merged_input.h"

#include "foundation/class_registry.h"
#include "foundation/component_registry.h"
#include "midi/midi_socket.h"
#include "persist/default_pool.h"
#include "studio/port_registry.h"
#include "studio/studio_setup.h"

namespace orbi {

CM_REGISTER(PMergedMidiInput);

namespace {

constexpr const char* keyExcluded = "Excluded";
constexpr const char* keyPortIDs = "PortIDs";

FUnknown* createMergedInput()
{
  return static_cast<CmObject*>(new PMergedMidiInput);
}

const FComponent component{PMergedMidiInput::componentId, PStudioSetupItem::deviceCategory,
                           PMergedMidiInput::className, createMergedInput, FComponent::Count::one};

CmString* idIn(CmObject* item)
{
  return static_cast<CmString*>(item);
}

/// Whatever else stands in the list of a damaged file is passed over.
void addTexts(const FAttrList* list, CmArray& texts)
{
  for (uint32_t i = 0; list && i < list->count(); ++i) {
    AttributeVariant value = list->valueAt(i);
    if ((value.tag & ~tagOwned) == tagText && value.text && *value.text)
      texts.add(make<CmString>(value.text).detach());
    value.clear();
  }
}

} // namespace

/// Holds what its inputs hold.
class PMergedMidiInput::Output final : public CmClass<Output, PMidiOutput> {
public:
  static constexpr const char* className = "PMergedMidiOutput";

  explicit Output(PMergedMidiInput& device) : CmClass(&device, portName, mergedPortKind) {}
  PHeldKeys::State heldKeys() const override
  {
    const auto* device = static_cast<const PMergedMidiInput*>(owner());
    return device ? device->input().heldByConnections() : PHeldKeys::State{};
  }
};

/// An event on its way through a device on this thread; they form a list through all devices.
struct PMergedMidiInput::Passing {
  Passing(const PMergedMidiInput& through, const PEvent& what)
      : device(&through), event(&what), outer(innermost)
  {
    innermost = this;
  }
  ~Passing() { innermost = outer; }
  Passing(const Passing&) = delete;

  static bool isUnderWay(const PMergedMidiInput& device, const PEvent& event)
  {
    for (const Passing* passing = innermost; passing; passing = passing->outer)
      if (passing->device == &device && passing->event == &event)
        return true;
    return false;
  }

  const PMergedMidiInput* device;
  const PEvent* event;
  const Passing* outer;

  static inline constinit thread_local const Passing* innermost = nullptr;
};

PMergedMidiInput::PMergedMidiInput() : CmClass(portName), output_(make<Output>(*this))
{
  addClassID(componentId);
  setNodeFlags(nodeSkipsNotice); // it hears of the ports itself
  filter_.direction = PortDirection::outputs;
  filter_.visibility = PortVisibility::any;
  filter_.type.set(midiPortType);
  filter_.addSubtype(systemPortKind);
  input_->setListener(this);
  addInput(input_, Registration::none);
  addOutput(output_, Registration::registered);
}

PMergedMidiInput::~PMergedMidiInput()
{
  retain(); // whoever takes a reference for the last call and gives it back doesn't end it twice
  stopFollowing(); // from then on no thread is in midiReceived
  input_->setListener(nullptr);
}

// Events

void PMergedMidiInput::midiReceived(int32_t, PEvent& event, PMidiInput&)
{
  if (Passing::isUnderWay(*this, event))
    return;
  const Passing passing(*this, event);
  output_->send(event);
}

// Running

bool PMergedMidiInput::activate()
{
  if (!CmClass::activate())
    return false;
  loadPorts();
  PPortRegistry* registry = PPortRegistry::instance();
  if (registry && !isFollowing_)
    registry->addDependent(this);
  isFollowing_ = true;
  followRegistry();
  return true;
}

bool PMergedMidiInput::deactivate()
{
  stopFollowing();
  return CmClass::deactivate();
}

void PMergedMidiInput::stopFollowing()
{
  if (PPortRegistry* registry = isFollowing_ ? PPortRegistry::instance() : nullptr)
    registry->removeDependent(this);
  isFollowing_ = false;
  input_->disconnectAll();
}

void PMergedMidiInput::update(CmObject* subject, int32_t code)
{
  if (subject && subject == PPortRegistry::instance())
    followRegistry();
  else
    CmClass::update(subject, code);
}

bool PMergedMidiInput::wants(const PPort& port) const
{
  return isFollowing_ && port.hasFlag(portIsRegistered) && filter_.accepts(port) &&
         !isRepeated(port);
}

/// A keyboard that two families of ports show would play each note twice. Of its ports the one
/// steps back that a bridge made of the other, as that is the shorter way. A bridge that has the
/// hardware for itself leaves the other one dead, and the user may have left that one out: then
/// this one is it.
bool PMergedMidiInput::isRepeated(const PPort& port) const
{
  const auto* bridged = castTo<PMidiInSocket>(&port);
  const PPortRegistry* registry = PPortRegistry::instance();
  if (!bridged || !bridged->isBridge() || !registry)
    return false;
  for (CmObject* item : registry->ports())
    if (const auto* other = castTo<PMidiInSocket>(item);
        other && bridged->repeats(*other) && comesIn(*other))
      return true;
  return false;
}

bool PMergedMidiInput::comesIn(const PMidiInSocket& socket) const
{
  return !socket.fails() && filter_.accepts(socket) && !isExcluded(socket);
}

void PMergedMidiInput::connect(PPort& port)
{
  if (!input_->isConnectedTo(&port) && wants(port) && !isExcluded(port))
    port.connect(input_.get());
}

/// What had the port may have let go of it.
void PMergedMidiInput::retry(const CmArray& ports)
{
  for (CmObject* port : ports)
    if (auto* socket = castTo<PMidiInSocket>(port); socket && input_->isConnectedTo(socket))
      socket->retry();
}

/// Who hears of a connection may take ports away and bring others, so each is looked at again.
void PMergedMidiInput::followRegistry()
{
  PPortRegistry* registry = PPortRegistry::instance();
  if (!registry || !isFollowing_)
    return;
  const auto alive = Ref<PMergedMidiInput>::share(this);
  CmArray selected(CmOwnership::shares);
  registry->collectPorts(filter_, selected);
  retry(selected);
  for (int pass = 0; pass < 2; ++pass) // again, as another one may have shown that it is dead
    for (CmObject* port : selected)
      connect(*static_cast<PPort*>(port));
  CmArray connected(CmOwnership::shares);
  for (int32_t i = 0; i < input_->countConnections(); ++i)
    connected.add(input_->connectionAt(i));
  for (CmObject* item : connected)
    if (auto* port = static_cast<PPort*>(item); !wants(*port))
      input_->disconnect(port);
}

// Ports that are left out

bool PMergedMidiInput::isExcluded(const PPort& port) const
{
  for (CmObject* id : excluded_)
    if (port.hasID(idIn(id)->view()))
      return true;
  return false;
}

void PMergedMidiInput::setExcluded(PPort& port, bool excluded)
{
  CmString id;
  if (!isFollowing_)
    loadPorts(); // what is saved below begins with what is there
  if (excluded == isExcluded(port) || !port.getID(id))
    return;
  const auto kept = Ref<PPort>::share(&port);
  if (excluded) {
    excluded_.add(make<CmString>(id).detach());
    input_->disconnect(&port);
  } else {
    while (CmObject* stored = excluded_.find(&id)) // a file may hold it twice
      excluded_.remove(stored);
    connect(port);
  }
  followRegistry(); // another port may take its place, or step back
  savePorts();
}

void PMergedMidiInput::loadPorts()
{
  FDefaultPool* pool = FDefaultPool::instance();
  FDefaults* group = pool ? pool->getGroup(getDisplayName().text(), 0, false) : nullptr;
  const auto stored =
      Ref<FAttributes>::share(castTo<FAttributes>(group ? group->getObject(keyExcluded) : nullptr));
  if (!pool)
    return;
  excluded_.removeAll();
  if (!stored)
    return;
  if (const char* only = stored->getString(keyPortIDs); only && *only)
    excluded_.add(make<CmString>(only).detach());
  addTexts(stored->getList(keyPortIDs), excluded_);
}

void PMergedMidiInput::savePorts() const
{
  FDefaultPool* pool = FDefaultPool::instance();
  FDefaults* group = pool ? pool->getGroup(getDisplayName().text()) : nullptr;
  if (!group)
    return;
  auto stored = make<FAttributes>();
  for (CmObject* id : excluded_)
    stored->appendString(keyPortIDs, idIn(id)->text());
  group->setObject(keyExcluded, stored.get(), false);
}

} // namespace orbi
