#pragma once

#include "midi/held_keys.h"
#include "studio/port.h"

#include <atomic>
#include <string>

namespace orbi {

class PMidiInput;

/// Consumer of what arrives at an input.
class IMidiListener {
public:
  /// The tag is the one that the listener was set with. The event stays the sender's. On the
  /// sender's thread, which may be a MIDI or the audio thread, and on several at once.
  virtual void midiReceived(int32_t tag, PEvent& event, PMidiInput& input) = 0;

protected:
  ~IMidiListener() = default;
};

/// The type of all MIDI ports, and the subtypes of those that the system knows.
inline constexpr const char* midiPortType = "midi";
inline constexpr const char* systemPortKind = "system";   ///< another program's, or hardware's
inline constexpr const char* virtualPortKind = "virtual"; ///< the program's own, for others
inline constexpr const char* mergedPortKind = "merged";   ///< gathers others

/// Port through which a device gives MIDI to others. The kind is the port's subtype.
class PMidiOutput : public CmClass<PMidiOutput, PMultiOutput> {
public:
  static constexpr const char* className = "PMidiOutput";

  PMidiOutput(CmObject* owner, const CmString& name, const char* kind)
      : CmClass(owner, name), kindWord_(kind ? kind : "")
  {
  }

  const char* getType() const override { return midiPortType; }
  const char* getSubtype() const override { return kindWord_.c_str(); }

  /// What is held down by what came out here, as far as that is known. Main thread.
  virtual PHeldKeys::State heldKeys() const { return {}; }

private:
  const std::string kindWord_;
};

/// Port through which a device or any other consumer takes MIDI.
class PMidiInput : public CmClass<PMidiInput, PMultiInput> {
public:
  static constexpr const char* className = "PMidiInput";

  PMidiInput(CmObject* owner, const CmString& name, const char* kind)
      : CmClass(owner, name), kindWord_(kind ? kind : "")
  {
  }

  const char* getType() const override { return midiPortType; }
  const char* getSubtype() const override { return kindWord_.c_str(); }

  /// Borrowed; null for none. While nothing is connected.
  void setListener(IMidiListener* listener, int32_t tag = 0);
  IMidiListener* listener() const { return listener_; }

  /// What is held through any of its connections but one. Main thread.
  PHeldKeys::State heldByConnections(const PPort* except = nullptr) const;

  bool receive(PEvent& event) override;              ///< always true here
  int32_t handleMessage(FMessage& message) override; ///< "Reset MIDI": "Channel", "Reduced"

  /// Sends what ends everything that sounds: on one channel of 1 to 16, or on all for 0. Reduced
  /// leaves the controllers at that.
  enum class Reset { full, reduced };
  void resetMidi(int64_t channel, Reset reset);

private:
  IMidiListener* listener_ = nullptr;
  int32_t listenerTag_ = 0;
  const std::string kindWord_;
};

} // namespace orbi
