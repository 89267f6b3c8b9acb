#include "studio/studio.h"

#include "foundation/class_registry.h"
#include "foundation/dependencies.h"
#include "foundation/messenger.h"
#include "persist/default_pool.h"
#include "studio/port_registry.h"
#include "studio/studio_ports.h"
#include "studio/studio_texts.h"
#include "ui/application.h"

#include <algorithm>

namespace orbi {

CM_REGISTER_ABSTRACT(PStudio); // one, made by the application

namespace {

constexpr const char* reassignGroup = "MIDIPortReassign";
constexpr int32_t lastNameNumber = 1000000000;

CmString numbered(const CmString& name, int64_t number)
{
  CmString text(name);
  text.append(" ");
  text.appendNumber(number);
  return text;
}

bool hasFlag(const PDevice& device, PDeviceFlag flag)
{
  return (device.nodeFlags() & flag) != 0;
}

void setFlag(PDevice& device, PDeviceFlag flag, bool on)
{
  device.setNodeFlags(on ? device.nodeFlags() | flag : device.nodeFlags() & ~uint32_t{flag});
}

/// For who shows the user what the program is busy with.
void tellDeviceStarts(const PDevice& device)
{
  UApplication* application = UApplication::instance();
  if (!application)
    return;
  FMessage message(PStudio::deviceStartMessage);
  message.setString("Name", device.getDisplayName().text());
  application->handleMessage(message);
}

void flushChanges()
{
  if (FDependencies* dependencies = FDependencies::instance())
    dependencies->flush();
}

} // namespace

PStudio::PStudio()
{
  if (!instance_)
    instance_ = this;
  tree_->setStudio(this);
  addCategory(PStudioSetupItem::deviceCategory);
}

PStudio::~PStudio()
{
  retain(); // whoever takes a reference for the last call and gives it back doesn't end it twice
  stop();
  setDependentObject(nullptr);
  if (instance_ == this)
    instance_ = nullptr; // before the devices go and look for it
  tree_->setStudio(nullptr);
  if (FMessenger* messenger = FMessenger::instance())
    messenger->remove(static_cast<CmObject*>(this));
  if (FDependencies* dependencies = FDependencies::instance()) {
    dependencies->removeFromDeferred(this);
    dependencies->removeDependent(this, nullptr);
    dependencies->removeDependent(nullptr, this);
  }
}

// Running

bool PStudio::start()
{
  if (state_ != State::stopped)
    return true;
  const auto alive = Ref<PStudio>::share(this);
  state_ = State::activating;
  if (FDefaultPool* pool = FDefaultPool::instance())
    pool->getGroup(reassignGroup, 0,
                   false); // one of another version goes before a device looks at it
  activateAll();
  state_ = State::starting;
  for (const Ref<PDevice>& device : devices())
    if (contains(*device))
      device->onStudioStarted();
  listen();
  return true;
}

/// Also those that come meanwhile, each once.
void PStudio::activateAll()
{
  std::vector<Ref<PDevice>> met;
  auto isNew = [&](const Ref<PDevice>& device) {
    return std::find(met.begin(), met.end(), device.get()) == met.end();
  };
  for (;;) {
    const std::vector<Ref<PDevice>> present = devices();
    auto next = std::find_if(present.begin(), present.end(), isNew);
    if (next == present.end())
      return;
    met.push_back(*next);
    activate(**next);
  }
}

/// False when it can't run or has gone meanwhile.
bool PStudio::activate(PDevice& device)
{
  if (isActive(device))
    return true;
  tellDeviceStarts(device);
  setFlag(device, deviceFailed, false);
  const bool isUp = device.activate();
  setFlag(device, deviceFailed, !isUp);
  if (!isUp)
    return false;
  if (!contains(device)) {
    device.deactivate();
    return false;
  }
  active_.push_back(Ref<PDevice>::share(&device));
  return true;
}

void PStudio::deactivate(PDevice& device)
{
  const auto place = std::find(active_.begin(), active_.end(), &device);
  if (place == active_.end())
    return;
  const Ref<PDevice> kept = *place;
  active_.erase(place);
  if (!hasFlag(device, deviceFailed))
    device.deactivate();
}

bool PStudio::isActive(const PDevice& device) const
{
  return std::find(active_.begin(), active_.end(), &device) != active_.end();
}

void PStudio::listen()
{
  if (UApplication* application = UApplication::instance())
    application->addDependent(this);
  state_ = State::running;
  postDetection();
  if (PPortRegistry* registry = PPortRegistry::instance())
    registry->addDependent(this);
}

void PStudio::postDetection()
{
  if (FMessenger* messenger = FMessenger::instance())
    messenger->post(static_cast<CmObject*>(this), new FMessage(detectMessage), true);
}

bool PStudio::stop()
{
  if (state_ != State::running)
    return true;
  const auto alive = Ref<PStudio>::share(this);
  state_ = State::stopping;
  stopListening();
  while (!active_.empty()) {
    deactivate(*lastActive());
    flushChanges(); // no notice may reach a device that has gone
  }
  if (const auto told = Ref<CmObject>::share(dependentObject_))
    told->update(this, studioChanged);
  state_ = State::stopped;
  return true;
}

void PStudio::stopListening()
{
  if (PPortRegistry* registry = PPortRegistry::instance())
    registry->removeDependent(this);
  if (UApplication* application = UApplication::instance())
    application->removeDependent(this);
  if (FMessenger* messenger = FMessenger::instance())
    messenger->remove(static_cast<CmObject*>(this));
}

/// The last in the tree; one that was taken out of it by others comes before those that are there.
PDevice* PStudio::lastActive() const
{
  auto place = [this](const Ref<PDevice>& device) {
    const int32_t index = tree_->root()->indexOfChild(device.get());
    return index < 0 ? tree_->root()->countChildren() : index;
  };
  auto last = std::max_element(
      active_.begin(), active_.end(),
      [&](const Ref<PDevice>& a, const Ref<PDevice>& b) { return place(a) < place(b); });
  return last->get();
}

void PStudio::setDependentObject(CmObject* object)
{
  if (object == dependentObject_)
    return;
  if (dependentObject_)
    dependentObject_->removeDependent(this);
  dependentObject_ = object;
  if (object)
    object->addDependent(this);
}

void PStudio::update(CmObject* subject, int32_t code)
{
  if (subject == dependentObject_ && code == nodeGoneNotice)
    dependentObject_ = nullptr;
  if (!isRunning())
    return;
  const auto alive = Ref<PStudio>::share(this);
  if (code == noticePortSet && subject == PPortRegistry::instance())
    postDetection();
  for (const Ref<PDevice>& device : devices())
    if (contains(*device) && !device->hasFlag(nodeSkipsNotice))
      device->update(subject, code);
}

int32_t PStudio::handleMessage(FMessage& message)
{
  if (!message.isMessage(detectMessage))
    return CmClass::handleMessage(message);
  runDetection(nullptr, nullptr);
  return 1;
}

// Devices

std::vector<Ref<PDevice>> PStudio::devices() const
{
  std::vector<Ref<PDevice>> devices;
  for (int32_t i = 0; i < tree_->root()->countChildren(); ++i)
    if (auto* device = castTo<PDevice>(tree_->root()->childAt(i)))
      devices.push_back(Ref<PDevice>::share(device));
  return devices;
}

bool PStudio::contains(const PDevice& device) const
{
  return device.getParent() == tree_->root();
}

PDevice* PStudio::findDeviceByPath(const char* path) const
{
  return path ? castTo<PDevice>(tree_->root()->findByPath(path)) : nullptr;
}

PDevice* PStudio::findDeviceByName(const char* name) const
{
  for (int32_t i = 0; name && i < tree_->root()->countChildren(); ++i)
    if (auto* device = castTo<PDevice>(tree_->root()->childAt(i)))
      if (device->getDisplayName().compare(name, TextCompare::ignoreCase) == 0)
        return device;
  return nullptr;
}

bool PStudio::giveFreeName(PDevice& device) const
{
  const CmString wanted(device.getDisplayName());
  CmString name(wanted);
  for (int32_t number = 2; findDeviceByName(name.text()); ++number) {
    if (number > lastNameNumber)
      return false;
    name = numbered(wanted, number);
  }
  if (!(name == wanted.view()))
    device.setDisplayName(name.text());
  return true;
}

bool PStudio::addDevice(PDevice* device, uint32_t flags)
{
  if (!device || contains(*device) || !giveFreeName(*device))
    return false;
  const auto kept = Ref<PDevice>::share(device);
  device->setNodeFlags(device->nodeFlags() | flags);
  if (!tree_->root()->addChild(device))
    return false;
  if (contains(*device))
    bringPortsBack(*device);
  if (state_ == State::starting || state_ == State::running)
    comeUp(*device);
  tellDevicesChanged();
  return contains(*device);
}

void PStudio::comeUp(PDevice& device)
{
  if (!activate(device))
    return;
  device.onStudioStarted();
  if (hasFlag(device, deviceTakesSetupItem) && contains(device))
    takeSetupItem(device);
}

void PStudio::takeSetupItem(const PDevice& device)
{
  for (CmObject* object : setupItems_)
    if (const auto* item = castTo<PStudioSetupItem>(object); item && item->matches(device)) {
      setupItems_.remove(object);
      return;
    }
}

bool PStudio::addDeviceIndexed(PDevice* device, int32_t index, Stay stay)
{
  if (!device || contains(*device))
    return false;
  if (index > 0) {
    const CmString name = numbered(device->getName(), int64_t{index} + 1);
    const CmString displayName = numbered(device->getDisplayName(), int64_t{index} + 1);
    device->setName(name.text());
    device->setDisplayName(displayName.text());
  }
  return addDevice(device, stay == Stay::transient ? uint32_t{deviceIsStudios}
                                                   : deviceIsStudios | deviceIsSaved);
}

bool PStudio::removeDevice(PDevice* device)
{
  if (!device || !contains(*device))
    return false;
  const auto kept = Ref<PDevice>::share(device);
  if (hasFlag(*device, deviceStays)) {
    tellUser("This device \"%s\" can not be removed.", device->getDisplayName());
    return false;
  }
  deactivate(*device);
  if (contains(*device))
    takePortsAway(*device);
  if (tree_->root()->removeChild(device)) // else it went by itself meanwhile
    tellDevicesChanged();
  return true;
}

void PStudio::tellDevicesChanged()
{
  const auto alive = Ref<PStudio>::share(this);
  changed(studioChanged);
  tree_->root()->changed(deviceTreeChanged);
}

// Panels

bool PStudio::addListener(CmObject* listener)
{
  if (!listener || std::find(listeners_.begin(), listeners_.end(), listener) != listeners_.end())
    return false;
  listeners_.push_back(listener);
  return true;
}

bool PStudio::removeListener(CmObject* listener)
{
  return std::erase(listeners_, listener) > 0;
}

void PStudio::tellListeners(FMessage& message)
{
  for (CmObject* listener : std::vector<CmObject*>(listeners_))
    if (std::find(listeners_.begin(), listeners_.end(), listener) != listeners_.end())
      listener->handleMessage(message);
}

void PStudio::tellPanelOpened(const char* id, CmObject* window)
{
  FMessage message(panelMessage);
  message.setString("ID", id);
  message.setObject("Window", window);
  tellListeners(message);
}

} // namespace orbi
