#pragma once

#include "studio/device_node.h"
#include "studio/port_container.h"

namespace orbi {

class PInput;
class POutput;
class PPort;

/// A node with inputs and outputs, and with its channels below a child of its own. Main thread.
class PDevice : public CmClass<PDevice, PDeviceNode>, public IPortContainer {
public:
  static constexpr const char* className = "PDevice";
  static constexpr int32_t setupEditor = 100; ///< code of the window in which it is set up

  explicit PDevice(std::string_view name = {}, const char* displayName = nullptr)
      : CmClass(name, displayName)
  {
  }
  PDevice(const PDevice&) = delete;
  ~PDevice() override; ///< its ports are disconnected and unregistered

  const CmString& setupName() const { return setupName_; }
  void setSetupName(std::string_view name) { setupName_.set(name); }

  PDevice* getDevice() override { return this; }
  bool removeChild(FNode* node) override;
  bool loadAttributes(const FAttributes& attributes) override;
  /// Asks the application to open the window ("Open Window" with "Name" and "Device").
  int32_t openEditor(int32_t code) override;

  // Running: false when the device can't, and is then to be left alone
  virtual bool activate(); ///< the outputs, then the inputs
  virtual bool deactivate();
  virtual bool restart();

  // Channels
  virtual int32_t countChannels() const;
  virtual FNode* channelAt(int32_t index) const; ///< null outside
  virtual int32_t indexOfChannel(const FNode* node) const;
  virtual bool addChannel(FNode* node) { return addChannel(node, -1); }
  virtual bool addChannel(FNode* node, int32_t index); ///< as insertChild
  virtual bool removeChannelAt(int32_t index);
  virtual bool removeChannel(FNode* node);
  PDeviceNode* channelsNode() const { return channelsNode_; } ///< null before the first channel

  // Ports. With a type only those of it count, also for the index; names are exact.
  enum class Registration { none, registered };
  virtual int32_t countInputs(const char* type = nullptr) const;
  virtual PInput* inputAt(int32_t index, const char* type = nullptr) const; ///< null outside
  virtual PInput* findInput(const char* name) const;
  virtual bool addInput(Ref<PInput> port, Registration registration); ///< false for null, twice
  virtual bool removeInput(PInput* port); ///< disconnects and unregisters it; false for none of it
  virtual int32_t countOutputs(const char* type = nullptr) const;
  virtual POutput* outputAt(int32_t index, const char* type = nullptr) const;
  virtual POutput* findOutput(const char* name) const;
  virtual bool addOutput(Ref<POutput> port, Registration registration);
  virtual bool removeOutput(POutput* port);

  enum class PortSide { output, input };
  /// Null when the device is of another name, too.
  virtual PPort* getPortByName(const char* deviceName, const char* portName, PortSide side) const;
  virtual void disconnectPorts(); ///< all of them

  // One object, several interface tables
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
  CmResult connectPort(FUnknown* port) override;
  bool isPortConnected(FUnknown* port) override;

protected:
  void nameChanged() override; ///< and with it the identifiers of the ports

private:
  PPort* counterpartOf(const PPort& port) const;
  void findChannels();

  PDeviceNode* channelsNode_ = nullptr; ///< a child
  CmString setupName_;
  CmArray inputs_{CmOwnership::adopts};
  CmArray outputs_{CmOwnership::adopts};
};

} // namespace orbi
