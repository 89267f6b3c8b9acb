#pragma once

#include "midi/midi_port.h"
#include "studio/device.h"
#include "studio/port_filter.h"

namespace orbi {

class PMidiInSocket;

/// The device "All MIDI Inputs": what comes in through any of the system's MIDI inputs goes out
/// through its one output. The user may leave inputs out, which is kept in the settings group of
/// the device's display name. Main thread, but for the events.
class PMergedMidiInput final : public CmClass<PMergedMidiInput, PDevice>, public IMidiListener {
public:
  static constexpr const char* className = "PMergedMidiInput";
  static constexpr const char* portName = "All MIDI Inputs"; ///< and the device's
  static constexpr FUID componentId{0x6F726269, 0x4D455247, 0x45440001, 1};

  PMergedMidiInput();
  PMergedMidiInput(const PMergedMidiInput&) = delete;
  ~PMergedMidiInput() override;

  PMidiOutput& output() const { return *output_; } ///< registered
  PMidiInput& input() const { return *input_; }    ///< not registered
  const PPortFilter& filter() const { return filter_; }

  // Ports that are left out
  bool isExcluded(const PPort& port) const;
  void setExcluded(PPort& port, bool excluded); ///< and saves it, when it is a change

  /// Takes over the settings, connects and follows what the registry tells.
  bool activate() override;
  bool deactivate() override; ///< nothing is connected then
  void update(CmObject* subject, int32_t code) override;

  /// Hands the event on as it is. Any thread, several at once. One that comes round to here while
  /// it is on its way is dropped.
  ORBI_REALTIME_SELDOM void midiReceived(int32_t tag, PEvent& event, PMidiInput& from) override;

private:
  class Output;
  struct Passing;

  bool wants(const PPort& port) const;
  bool isRepeated(const PPort& port) const;
  bool comesIn(const PMidiInSocket& socket) const;
  void connect(PPort& port);
  void retry(const CmArray& ports);
  void followRegistry();
  void stopFollowing();
  void loadPorts();
  void savePorts() const;

  CmArray excluded_{CmOwnership::adopts}; ///< CmString: identifiers
  PPortFilter filter_;
  Ref<PMidiOutput> output_;
  Ref<PMidiInput> input_ = make<PMidiInput>(this, portName, mergedPortKind);
  bool isFollowing_ = false;
};

} // namespace orbi
