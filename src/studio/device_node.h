#pragma once

#include "studio/automation.h"
#include "studio/node.h"
#include "studio/parameter_host.h"
#include "studio/parameter_request.h"
#include "studio/preset_choice_value.h"
#include "ui/values/controller.h"
#include "ui/values/int_value.h"
#include "ui/values/string_value.h"

namespace orbi {

class PSnapshotFilter;
struct ClassIDStep;

/// Bits of a node's flags.
enum PNodeFlag : uint32_t {
  nodeSkipsNotice = 1u << 0,      ///< is not told what the studio tells its devices
  nodeIsAutomationRoot = 1u << 3, ///< enables don't come from above to here by themselves
  nodeIsFrozen = 1u << 6
};

/// Tags of the values that every node has, and of parameters with a meaning that is known.
enum PNodeTag : int32_t {
  nodeNameTag = 1024,
  volumeTag = 1025, ///< of an automation root
  panTag = 1026,
  muteTag = 1027,
  secondPanTag = 1032,
  readEnableTag = 4013,
  writeEnableTag = 4014
};

/// What a node's dependents are told besides nodeGoneNotice.
enum PNodeNotice : int32_t { nodeFrozenNotice = 1024, nodeEnableNotice = 1025 };

/// A piece of equipment, or a part of one, as the user sees it: with a name of its own beside the
/// identifier, parameters by their tags, switches for automation, a chosen preset, and snapshots of
/// the parameters of all that is below. Main thread.
///
/// Subclasses answer for their parameters in parameterRequest.
class PDeviceNode : public CmClass<PDeviceNode, FNode>, public FController, public IParameterHost {
public:
  static constexpr const char* className = "PDeviceNode";

  /// The name is the identifier and the node's class. Without a display name of its own it shows
  /// the name's translation.
  explicit PDeviceNode(std::string_view name = {}, const char* displayName = nullptr);
  PDeviceNode(const PDeviceNode& other); ///< without children, automation and preset choice
  ~PDeviceNode() override;

  // Names
  virtual void setDisplayName(const char* text); ///< a name that is known is translated
  virtual const CmString& getDisplayName() const { return displayName_.string(); }
  const CmString& nodeClass() const { return nodeClass_; }
  FNode* findChild(const char* name) const override; ///< by display names, too, in any case

  // Class ids: what outside callers take this node for
  virtual int32_t countClassIDs() const { return static_cast<int32_t>(classIDs_.count()); }
  virtual const FUID* classIDAt(int32_t index) const; ///< null outside
  void addClassID(const FUID& id);
  bool hasClassID(const FUID& id) const;
  /// Goes the steps at the path's start and takes them off it; see ClassIDStep. This node for an
  /// empty path and one that goes on with a tag. Null when a step leads nowhere. The last step's
  /// id goes to id, if that isn't null.
  PDeviceNode* resolvePath(CmString& path, FUID* id = nullptr);

  // Flags
  uint32_t nodeFlags() const { return nodeFlags_; }
  bool hasFlag(PNodeFlag flag) const { return (nodeFlags_ & flag) != 0; }
  void setNodeFlags(uint32_t flags) { nodeFlags_ = flags; }
  /// Freezes or frees the node and all below, and tells the application.
  virtual void setFreezeLock(bool on);

  // Children, of which automation above is told
  bool insertChild(FNode* node, int32_t index) override;
  bool removeChild(FNode* node) override;

  // Parameters. Names and texts: false when there are none.
  virtual PParameterAnswer parameterRequest(const PParameterRequest&) { return {}; }
  virtual bool getParameterName(int32_t tag, CmString& out);
  virtual bool getParameterNameByKey(const char* key, CmString& out);
  virtual bool getParameterText(int32_t tag, CmString& out);
  virtual bool hasParameter(int32_t tag);
  virtual bool findParameterTag(const char* key, int32_t& tag); ///< false leaves the tag
  virtual UValue* getParameterValue(int32_t tag);               ///< borrowed; null for none
  virtual void setParameterInt(int32_t tag, int32_t value);     ///< nothing for none
  virtual int32_t getParameterInt(int32_t tag);                 ///< 0 for none
  virtual const char* getParameterSymbol(int32_t tag) const;    ///< null for most
  virtual bool isParameterSymbol(int32_t tag, const char* text) const;
  /// 0 to 1. Dependents are told only when the value's text becomes another one. Nothing happens to
  /// values that are read-only or disabled.
  virtual void setParameterNormalized(int32_t tag, double fraction);
  virtual double toPlain(int32_t, double fraction) const { return fraction; }
  virtual double toNormalized(int32_t, double plain) const { return plain; }
  /// Where an object's changes of a parameter go: to the automation, when there is one and the
  /// object answers "Wants Automation" (with "Tag"), else to routeParameterHere.
  virtual int32_t routeParameter(int32_t tag, CmObject* object);
  virtual int32_t routeParameterHere(int32_t, CmObject*) { return 0; }

  virtual void onStudioStarted() {} ///< all devices are active

  // Automation. Enables go to all that is below; coming from an owner, they leave out what is an
  // automation root itself.
  enum class EnabledBy { user, owner };
  virtual void setReadEnable(bool on, EnabledBy by);
  virtual bool isReadEnabled() const { return readEnable_.getValue() > 0; }
  virtual UValue* getReadEnableValue(); ///< clicks on it come to this node
  virtual void setWriteEnable(bool on, EnabledBy by);
  virtual bool isWriteEnabled() const { return writeEnable_.getValue() > 0; }
  virtual UValue* getWriteEnableValue();
  PAutomation* automation() const { return automation_.get(); }
  virtual void setAutomation(PAutomation* automation); ///< shared; null switches the enables off
  void setAutomationFlag() { automationFlag_ = true; }
  void clearAutomationFlag();     ///< here and below
  bool hasAutomationFlag() const; ///< here or below

  // Presets
  virtual PPresetBank* getPresetBank(int32_t) { return nullptr; } ///< borrowed; null for none
  virtual PPresetChoiceValue* getPresetChoice();                  ///< null without a bank

  // Snapshots: fractions of the ranges of the parameters, here and below

  /// False when there was nothing to store, or something couldn't be.
  virtual bool storeSnapshot(FAttributes& attributes, PSnapshotFilter* filter = nullptr);
  /// False when a part of it didn't fit. What was set before that stays.
  virtual bool restoreSnapshot(FAttributes& attributes);

  // Outside
  virtual int32_t queryService(const FUID& service, const FUID& id, void** out);
  virtual int32_t openEditor(int32_t code); ///< asks those above; 0 when nobody opens one

  // Controller of the skin's views for this node
  CmObject* getControllerObject() override { return this; }
  UValue* getValue(const char* name) override;
  bool hasValue(const char* name) override;

  // One object, several interface tables
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
  const char* getClassNameText() override;
  const char* getDeviceNameText() override;
  int32_t getParameterCount() override;
  int32_t getParameterTag(int32_t index) override;
  const char* getParameterNameText(int32_t tag) override;
  int32_t getParameterIntValue(int32_t tag) override { return getParameterInt(tag); }
  int32_t getParameterCount2() override { return getParameterCount(); }
  int32_t countChildNodes() override { return countChildren(); }
  IParameterHost* getChildNode(int32_t index) override;
  const char* getPathText() override;
  const char* getParameterTextValue(int32_t tag, bool orOfValue) override;

  // As an object. Loading without a name in the attributes answers false, and loads the rest.
  void update(CmObject* subject, int32_t code) override;
  int32_t handleMessage(FMessage& message) override; ///< "Get Value Name": "Value", "String"
  bool read(FStream& stream) override;               ///< display name and preset choice
  bool write(FStream& stream) const override;
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

protected:
  PDeviceNode* deviceChildAt(int32_t index) const; ///< null when it is a node of another kind
  /// Asks or tells whoever is the application; 0 when nobody answers.
  static int32_t tellApplication(FMessage& message);

private:
  struct Enable;
  static const Enable readEnable;
  static const Enable writeEnable;

  PAutomation* nearestAutomation() const;
  void spread(const Enable& enable, bool on, EnabledBy by);
  void enableClicked(const Enable& enable, UValue& value);
  bool choosePreset(int32_t number);
  UStringValue& nameValue();
  PDeviceNode* stepTo(const ClassIDStep& step);
  bool loadName(const FAttributes& attributes);
  void addCommonClassIDs();
  bool storeClassIDs(FAttributes& attributes) const;
  bool loadClassIDs(const FAttributes& attributes);

  // Steps of the snapshots; false is a failure.
  class SnapshotWriter;
  bool storeParameters(SnapshotWriter& writer, PSnapshotFilter* filter);
  bool storeChosen(SnapshotWriter& writer, PSnapshotFilter& filter);
  bool storeAll(SnapshotWriter& writer);
  bool storeChildren(SnapshotWriter& writer, PSnapshotFilter* filter) const;
  bool restoreParameters(const FAttributes& attributes, bool quiet);
  bool restoreParameter(int32_t tag, float fraction, bool quiet);
  bool restoreChildren(const FAttributes& attributes);
  PDeviceNode* snapshotTarget(const FAttributes& snapshot) const;

  UStringValue displayName_;
  CmString nodeClass_;
  Ref<PAutomation> automation_;
  UIntValue readEnable_{0, 0, 1};
  UIntValue writeEnable_{0, 0, 1};
  uint32_t nodeFlags_ = 0;
  Ref<PPresetChoiceValue> presetChoice_; ///< made on demand
  CmArray classIDs_{CmOwnership::shares};
  bool automationFlag_ = false;
};

} // namespace orbi
