#pragma once

#include "foundation/ref.h"
#include "midi/merged_input.h"
#include "midi/mme_midi_device.h"
#include "platform/run_loop.h"
#include "studio/studio.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace orbi {

/// The studio with the system's MIDI devices and "All MIDI Inputs", and the port that plays the
/// instrument. Follows what comes and goes: the wanted port is connected whenever it is there, the
/// program's own ports always. Main thread.
class OrbiPlayerMidiSetup final : public CmClass<OrbiPlayerMidiSetup, CmObject> {
public:
  static constexpr const char* className = "OrbiPlayerMidiSetup";
  static constexpr const char* everyInput = "all"; ///< as a wanted port: "All MIDI Inputs"

  explicit OrbiPlayerMidiSetup(PStudio& studio) : studio_(studio) {}
  ~OrbiPlayerMidiSetup() override; ///< stops

  /// Adds the devices of these families and starts the studio. What ports there are is found out
  /// a moment later, when the start is over.
  void start(std::vector<std::unique_ptr<platform::MidiSystem>> systems);
  void stop();

  /// The port of this name, of any case, is to play the input. Empty for none.
  void setWantedPort(PMidiInput& input, const std::string& name);
  /// The name of the port that plays, or of the wanted one that is away; empty for none.
  std::string connectedPort() const;

  void findPorts(); ///< looks what is there now

  int32_t handleMessage(FMessage& message) override; ///< "Idle"
  void update(CmObject* subject, int32_t code) override;

private:
  void lookLater();
  void dropTimer();
  void connectWanted();

  PStudio& studio_;
  std::vector<Ref<PMmeMidiDevice>> devices_;
  Ref<PMergedMidiInput> merged_;
  Ref<PMidiInput> input_;
  std::string wanted_;
  /// Set by the system's threads; they hold it, as they may be late.
  std::shared_ptr<std::atomic<bool>> hasChanged_ = std::make_shared<std::atomic<bool>>(false);
  platform::RunLoop::TimerId firstLook_ = 0;
};

} // namespace orbi
