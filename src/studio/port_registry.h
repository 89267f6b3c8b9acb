#pragma once

#include "foundation/array.h"
#include "foundation/attributes.h"
#include "studio/port_index.h"
#include "studio/port_interfaces.h"
#include "studio/port_listener.h"

#include <string>
#include <unordered_map>

namespace orbi {

class PAliasPort;
class PPort;
class PPortDescriptor;
class PPortIDMapping;
struct PPortFilter;

/// What findPort does about an identifier that no registered port has.
enum class PortLookup {
  registeredOnly, ///< null
  orSubstitute    ///< a mapped or a fitting port, else an alias made of the port's descriptor
};

/// All ports that exist for the user, in order of arrival. Gives them numbers, restores what the
/// user set for system ports, keeps aliases for ports that have gone away, and tells listeners.
/// One for the process, made before the first device. Main thread.
class PPortRegistry final : public CmClass<PPortRegistry, CmObject>, public IPortRegistry {
public:
  static constexpr const char* className = "PPortRegistry";

  PPortRegistry();
  PPortRegistry(const PPortRegistry&) = delete;
  ~PPortRegistry() override;

  static PPortRegistry* instance() { return instance_; } ///< null at the very start and end

  // Ports; shared as long as they are registered
  bool registerPort(PPort* port);   ///< false for null and for one that is registered
  bool unregisterPort(PPort* port); ///< false for one that isn't
  const CmArray& ports() const { return ports_; }
  PPort* portNumberLookup(uint32_t number) const; ///< null for none

  /// The first that has the identifier.
  PPort* findPort(const char* id, PortLookup lookup = PortLookup::registeredOnly);
  void updateID(PPort& port); ///< see PPort::idChanged
  /// Adds those that pass the filter, in order. Whether there is any in the list.
  bool collectPorts(const PPortFilter& filter, CmArray& list) const;

  // Ports that are gone
  /// PPortDescriptors of the ports that a saved routing names; borrowed, null for none.
  void setDescriptors(const CmContainer* descriptors) { descriptors_ = descriptors; }
  PPort* createAliasPort(PPortDescriptor* descriptor); ///< null for null

  // What is kept in the defaults store
  bool loadSettings(); ///< false, and nothing changed, when there is nothing to be read
  bool saveSettings(); ///< false without a store

  // Notices
  bool addListener(PPortListener* listener) { return listeners_.add(listener); }
  bool removeListener(PPortListener* listener) { return listeners_.remove(listener); }
  /// Port values hear of everything before dependents and listeners do. They may come before the
  /// registry, and outlast it.
  static bool addValue(PPortListener* value) { return values_.add(value); }
  static bool removeValue(PPortListener* value) { return values_.remove(value); }
  void notifyPortChange(PPort* port, PPortNotice notice);

  int32_t handleMessage(FMessage& message) override; ///< PAliasPort::checkMessage

  // One object, two interface tables
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
  int32_t countPorts() override { return static_cast<int32_t>(ports_.count()); }
  IPort* portAt(int32_t index) override;
  IPort* findPortByID(const char* id) override;
  CmResult unregisterExternalPort(FUnknown* port) override;
  CmResult makePortID(IStringSink* sink, const char* deviceName, const char* portName,
                      bool isOutput) override;

private:
  static void enrol(PPort& port);
  void append(PPort& port);
  void takeOverAliases(PPort& port);
  PPort* resolvePort(std::string_view id);
  PPort* findMapped(std::string_view id);
  PPortDescriptor* findDescriptor(std::string_view id) const;
  PPort* findFitting(const PPortDescriptor& descriptor) const;
  PPort* findAlias(std::string_view id) const;
  void addSettings(Ref<FAttributes> entry);
  static constexpr size_t mostPlainSettings = 1000; ///< that hold no more than a name
  void dropOldPlain();
  void storeSettings(const PPort& port);
  void restoreSettings(PPort& port) const;

  static inline PPortRegistry* instance_ = nullptr;
  static inline uint32_t lastNumber_ = 0; ///< counts on when the registry is made anew
  static inline PPortListeners values_;

  CmArray ports_{CmOwnership::shares};
  PPortIndex index_;
  CmArray aliases_{CmOwnership::adopts};
  CmArray mappings_{CmOwnership::adopts};
  CmArray settings_{CmOwnership::adopts}; ///< an FAttributes for each system port seen so far
  std::unordered_map<std::string, FAttributes*> settingsByID_; ///< the first of each "ID"
  PPortListeners listeners_;
  const CmContainer* descriptors_ = nullptr;
};

} // namespace orbi
