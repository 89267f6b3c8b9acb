// What the studio makes from components: devices, and those who detect them.

#include "studio/detection.h"
#include "studio/device.h"
#include "studio/studio.h"
#include "studio/studio_texts.h"

#include <cstring>

namespace orbi {

namespace {

/// One reference to something that is only an interface.
template <class Interface>
class Held {
public:
  explicit Held(Interface* subject) : subject_(subject) {}
  ~Held()
  {
    if (subject_)
      subject_->release();
  }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;

  /// What the subject of another one answers to; null when it doesn't.
  static Interface* ask(FUnknown* subject)
  {
    void* found = nullptr;
    const bool answers =
        subject && subject->queryInterface(Interface::interfaceId, &found) == resultOk;
    return answers ? static_cast<Interface*>(found) : nullptr;
  }

  Interface* get() const { return subject_; }
  Interface* operator->() const { return subject_; }
  explicit operator bool() const { return subject_ != nullptr; }

private:
  Interface* subject_;
};

/// Null wants any text.
bool isWanted(const char* wanted, const char* text)
{
  return !wanted || std::strcmp(wanted, text ? text : "") == 0;
}

void runDetector(FUnknown* component, FUnknown* host, const char* name, const char* subName)
{
  const Held<IHostedComponent> hosted(Held<IHostedComponent>::ask(component));
  const Held<IDeviceDetection> detection(Held<IDeviceDetection>::ask(component));
  if (!hosted || !detection || hosted->initialize(host) != resultOk)
    return;
  DetectionIdentity identity;
  detection->getIdentity(identity);
  if (isWanted(name, identity.name) && isWanted(subName, identity.subName))
    detection->detect();
  hosted->terminate();
}

} // namespace

IParameterHost* PStudio::createDeviceByClass(const FUID& classID, int32_t index, Stay stay)
{
  return createDevice(FComponentRegistry::find(classID), index, stay);
}

IParameterHost* PStudio::createDeviceByName(const char* category, const char* name, int32_t index,
                                            Stay stay)
{
  return category && name ? createDevice(FComponentRegistry::find(category, name), index, stay)
                          : nullptr;
}

const PDevice* PStudio::findDeviceOf(const FComponent& component) const
{
  for (const Ref<PDevice>& device : devices())
    if (device->hasClassID(component.id()))
      return device.get(); // the tree holds it, too
  return nullptr;
}

IParameterHost* PStudio::createDevice(const FComponent* component, int32_t index, Stay stay)
{
  if (!component)
    return nullptr;
  if (const PDevice* other = component->isSingle() ? findDeviceOf(*component) : nullptr) {
    tellUser("The Studio can only have one \"%s\"!", other->getDisplayName());
    return nullptr;
  }
  const FUID id = component->id();
  const Held<FUnknown> made(component->create());
  auto* device = castTo<PDevice>(objectBehind(made.get()));
  if (!device)
    return nullptr;
  if (!device->hasClassID(id))
    device->addClassID(id);
  return addDeviceIndexed(device, index, stay) ? device : nullptr;
}

void PStudio::runDetection(const char* name, const char* subName)
{
  const auto alive = Ref<PStudio>::share(this);
  for (int32_t i = 0;
       const FComponent* component = FComponentRegistry::at(IDeviceDetection::category, i); ++i) {
    const Held<FUnknown> made(component->create());
    if (made)
      runDetector(made.get(), static_cast<IStudio*>(this), name, subName);
  }
}

// For callers from outside

CmResult PStudio::queryInterface(const FUID& id, void** out)
{
  if (out && id == IStudio::interfaceId) {
    retain();
    *out = static_cast<IStudio*>(this);
    return resultOk;
  }
  return CmClass::queryInterface(id, out);
}

CmResult PStudio::removeExternalDevice(FUnknown* device)
{
  auto* known = castTo<PDevice>(objectBehind(device));
  if (!known || (known->nodeFlags() & deviceStays))
    return resultBadArgument;
  constexpr CmResult notRemoved = 1;
  return removeDevice(known) ? resultOk : notRemoved;
}

IParameterHost* PStudio::findDeviceHost(const char* path)
{
  return findDeviceByPath(path);
}

} // namespace orbi
