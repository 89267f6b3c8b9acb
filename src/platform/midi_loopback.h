#pragma once

#include "platform/midi_change_notice.h"
#include "platform/midi_port_names.h"
#include "platform/midi_system.h"

#include <optional>
#include <string_view>

namespace orbi::platform {

/// A family whose ports are made by calls: each has an input and an output under one name, and what
/// is sent to the output comes in at the input, on the sender's thread. For tests of what stands on
/// a family of ports: they decide what a system decides otherwise.
class MidiLoopback final : public MidiSystem {
public:
  ~MidiLoopback() override;

  // The test's side, on any one thread unless said otherwise
  void plug(const std::string& portName, bool isVirtual = false); ///< a change, as is unplug
  void unplug(const std::string& portName); ///< its open ports stay, and are silent
  void cut(const std::string& portName);    ///< as who takes a connection away in a patch bay
  /// What a device plays, on any thread: raw bytes, cut as they may be. False without the port.
  bool play(std::string_view portName, std::span<const std::uint8_t> bytes);
  void setStamp(std::optional<std::uint32_t> milliseconds); ///< of what comes; none: the real time
  void refuseOpening(bool refuses); ///< as when another program has the ports
  void holdDone(bool holds); ///< long messages arrive, but are only done when this is taken back
  std::size_t heldCount();

  // MidiSystem
  const char* name() const override { return "Loopback MIDI"; }
  bool rescan() override;
  std::unique_ptr<MidiInputPort> openInput(std::size_t index, IMidiInputHandler& handler) override;
  std::unique_ptr<MidiOutputPort> openOutput(std::size_t index,
                                             IMidiOutputHandler& handler) override;
  void setChangeHandler(std::function<void()> handler) override;
  void idle() override {}

private:
  struct Cable;
  struct Shared;
  class Input;
  class Output;
  std::shared_ptr<Cable> find(std::string_view portName);
  std::shared_ptr<Cable> listed(std::size_t index);

  std::shared_ptr<Shared> shared_ = makeShared();
  static std::shared_ptr<Shared> makeShared();
  std::vector<std::shared_ptr<Cable>> listed_; // as of the last rescan
  MidiPortNamer namer_;
  MidiChangeNotice notice_;
  unsigned plugged_ = 0; // counts, for their numbers
};

} // namespace orbi::platform
