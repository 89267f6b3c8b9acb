#pragma once

#include "midi/midi_nodes.h"
#include "midi/midi_socket.h"
#include "studio/device.h"

namespace orbi {

/// A device for one family of the system's MIDI ports. Its ports are sockets, and each has a node
/// below the device. Main thread.
class PMidiInterface : public CmClass<PMidiInterface, PDevice> {
public:
  static constexpr const char* className = "PMidiInterface";
  /// The key of the value that tells by which clock events are stamped: 0 by the system's time of
  /// arrival, 1 by the moment at which the program got them.
  static constexpr const char* systemTimestampKey = "useSystemTimestamp";

  explicit PMidiInterface(std::string_view name) : CmClass(name) {}
  PMidiInterface(const PMidiInterface&) = delete;

  UIntValue& useSystemTimestamp() { return useSystemTimestamp_; }
  UValue* getValue(const char* name) override;

  // Ports, each with its node. One whose node is gone can't be removed
  bool addInput(Ref<PInput> port, Registration registration) override;
  bool removeInput(PInput* port) override;
  bool addOutput(Ref<POutput> port, Registration registration) override;
  bool removeOutput(POutput* port) override;
  /// The node of the port for a channel above 15, else that channel's; null for none.
  static constexpr uint32_t wholePort = 16;
  PMidiParameterNode* findNode(const PPort& port, uint32_t channel = wholePort) const;

  /// Takes over labels and flags that older versions kept for each port, then opens what is wanted.
  bool activate() override;

  /// "ConnectMidiThru", "DisconnectMidiThru": "Input" a PMidiOutSocket, "Output" a PMidiInSocket,
  /// "SourceChannel", "DestinationChannel". 1 on success.
  int32_t handleMessage(FMessage& message) override;

protected:
  void takeOldSettings(PPort& port); ///< of a port that comes while the device is active

private:
  PMidiPortNode* portNode(const PPort& port) const;
  bool removeNode(const PPort* port);

  UIntValue useSystemTimestamp_{0, 0, 1};
};

} // namespace orbi
