#pragma once

#include "framework/model.h"
#include "studio/device.h"
#include "studio/device_tree.h"
#include "studio/studio_interface.h"
#include "studio/studio_setup.h"

namespace orbi {

/// Bits of a device's flags that are the studio's; see also PNodeFlag.
enum PDeviceFlag : uint32_t {
  deviceIsSaved = 1u << 1,        ///< part of the saved setup
  deviceStays = 1u << 7,          ///< can't be removed
  deviceTakesSetupItem = 1u << 8, ///< takes the item that it matches away when it comes up
  deviceIsStudios = 1u << 9,      ///< added by the studio
  deviceFailed = 1u << 10         ///< couldn't be activated
};

/// What the studio's dependents are told: devices came or went, or it stops.
inline constexpr int32_t studioChanged = 102;
/// What the dependents of the tree's root are told: its children are others.
inline constexpr int32_t deviceTreeChanged = 1;

/// The user's equipment. Owns the tree of devices, starts and stops them, makes them from
/// components, and has detection components look for more. One for the process. Main thread.
///
/// Devices may add and remove devices, themselves included, whenever the studio calls them.
class PStudio : public CmClass<PStudio, GModel>, public IStudio {
public:
  static constexpr const char* className = "PStudio";
  static constexpr const char* detectMessage = "DetectDevices"; ///< posted by the studio to itself
  static constexpr const char* deviceStartMessage = "Device Start"; ///< "Name"; to the application
  static constexpr const char* panelMessage = "Device Panel OpenClose"; ///< "ID", "Window"

  PStudio();
  ~PStudio() override; ///< stops it

  static PStudio* instance() { return instance_; } ///< null before it is made and while it ends

  PDeviceTree& tree() const { return *tree_; }
  CmArray& setupItems() { return setupItems_; } ///< PStudioSetupItem, owned: what isn't there yet
  std::vector<const FComponent*> deviceClasses() const { return components(); }

  // Running. Both always true, and without effect from within each other. A device that can't be
  // activated keeps its place and is left alone until the next start.
  bool start();
  bool stop();
  bool isRunning() const { return state_ >= State::running; } ///< until all devices are stopped
  /// Borrowed: told studioChanged at the stop, and forgotten when it tells nodeGoneNotice.
  void setDependentObject(CmObject* object);

  // Devices
  /// Takes a reference. A display name that another device has in any case gets a number behind
  /// it. False for null, for one that is there, and when it left again at once.
  bool addDevice(PDevice* device, uint32_t flags);
  /// The same; an index above 0 makes a name of its own, with the next number behind it.
  bool addDeviceIndexed(PDevice* device, int32_t index, Stay stay);
  /// Its ports lose their connections and leave the registry until it is added again, whoever
  /// holds it. False for one that isn't there, and for one that stays, which the user is told.
  bool removeDevice(PDevice* device);
  PDevice* findDeviceByPath(const char* path) const; ///< borrowed; null for none
  PDevice* findDeviceByName(const char* name) const; ///< as it is displayed, of any case

  // Components
  /// One that may be there only once isn't made a second time, which the user is told.
  IParameterHost* createDeviceByClass(const FUID& classID, int32_t index, Stay stay) override;
  IParameterHost* createDeviceByName(const char* category, const char* name, int32_t index,
                                     Stay stay) override;
  void runDetection(const char* name, const char* subName) override;

  // Panels
  CmArray& panels() { return panels_; } ///< what makes them; shared
  bool addListener(CmObject* listener); ///< borrowed; false for null and for one that is there
  bool removeListener(CmObject* listener);
  void tellListeners(FMessage& message);
  void tellPanelOpened(const char* id, CmObject* window);

  void update(CmObject* subject, int32_t code) override; ///< passed on to the devices
  int32_t handleMessage(FMessage& message) override;     ///< detectMessage runs all detections

  // One object, two interface tables
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
  CmResult removeExternalDevice(FUnknown* device) override;
  IParameterHost* findDeviceHost(const char* path) override;

private:
  /// In activating, devices that come wait for their turn; from starting on they come up at once.
  enum class State { stopped, activating, starting, running, stopping };

  std::vector<Ref<PDevice>> devices() const;
  bool contains(const PDevice& device) const;
  bool giveFreeName(PDevice& device) const;
  void tellDevicesChanged();

  // Steps of start and stop
  void activateAll();
  bool activate(PDevice& device);
  void deactivate(PDevice& device);
  bool isActive(const PDevice& device) const;
  PDevice* lastActive() const;
  void comeUp(PDevice& device);
  void takeSetupItem(const PDevice& device);
  void listen();
  void stopListening();
  void postDetection();

  const PDevice* findDeviceOf(const FComponent& component) const;
  IParameterHost* createDevice(const FComponent* component, int32_t index, Stay stay);

  static inline PStudio* instance_ = nullptr;

  State state_ = State::stopped;
  Ref<PDeviceTree> tree_ = make<PDeviceTree>();
  std::vector<Ref<PDevice>> active_; ///< those to be deactivated
  CmArray setupItems_{CmOwnership::adopts};
  CmArray panels_{CmOwnership::shares};
  std::vector<CmObject*> listeners_;
  CmObject* dependentObject_ = nullptr;
};

} // namespace orbi
