#pragma once

#include "platform/thread.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace orbi::platform {

/// A block of bytes for long messages. It belongs to the caller, and stays in its place for as long
/// as a port has it.
struct MidiBuffer {
  std::uint8_t* data = nullptr;
  std::uint32_t capacity = 0; ///< bytes at `data`
  std::uint32_t recorded = 0; ///< bytes that count: of input once it is back, of output to be sent
  std::uint32_t offset = 0;   ///< the caller's
  void* user = nullptr;       ///< the caller's
  MidiBuffer* next = nullptr; ///< the port's, while it has the buffer
};

/// A port as it is offered to the user.
struct MidiPortInfo {
  std::string name; ///< UTF-8 as far as other programs keep to it; unique in its list, never empty
  bool isVirtual = false; ///< the program's own, to which others connect in a patch bay
  /// Another number than before: the port was away meanwhile, and what was open to it is dead.
  std::uint64_t generation = 0;
  /// The device or program behind it by its own name; of a bridge's port all names it has. Or
  /// empty.
  std::string origin = {};
  bool isBridge = false; ///< may show a port of another family once more
  bool operator==(const MidiPortInfo&) const = default;
};

/// Whether one is a bridge's port for what stands behind the other.
bool repeats(const MidiPortInfo& port, const MidiPortInfo& other);

/// Who listens to an input. Called on the input's own thread, and on the caller's inside `reset`;
/// never on both at once. It may add buffers, and must not block or close the port.
class IMidiInputHandler {
public:
  virtual ~IMidiInputHandler() = default;

  /// One message with all its bytes: status in the low byte, then its data. Real-time messages
  /// also come in the midst of a SysEx. `milliseconds` since `start`, by the event's own stamp.
  virtual void shortData(std::uint32_t packed, std::uint32_t milliseconds) = 0;

  /// A piece of SysEx from 0xF0 to 0xF7, or all of it: the buffer is full or the message is at its
  /// end. The stamp is that of its first byte.
  virtual void longData(MidiBuffer& buffer, std::uint32_t milliseconds) = 0;

  /// A piece of a message whose end will not come, as it broke off or found no buffer.
  virtual void longError(MidiBuffer& buffer, std::uint32_t milliseconds) = 0;

  /// A connection has gone, or messages were lost: what is held down by what came so far may never
  /// be let go of.
  virtual void lost() = 0;
};

/// An open input. Closed by its destructor, after which no call comes any more and the buffers that
/// it had are the caller's again, without a call. One that has lost its other end is silent.
class MidiInputPort {
public:
  virtual ~MidiInputPort() = default;

  /// Gives a buffer for long messages, which are used in the order in which they were given. Before
  /// `start`, after `reset` and inside a call of the handler.
  virtual void addBuffer(MidiBuffer& buffer) = 0;
  virtual bool start() = 0; ///< from now on messages come; false when the system lacks means

  /// Ends what `start` began and gives all buffers back through `longData`: what lies in the one
  /// that was being filled is told by its `recorded`, the others' is as the caller left it.
  virtual void reset() = 0;

  /// Nothing comes any more, as somebody took the connection away; opened anew it may. Main thread.
  virtual bool isLost() const { return false; }

  /// The one on which the handler is called, when the port has it for itself; else 0.
  virtual ThreadId thread() const { return 0; }
};

class IMidiOutputHandler {
public:
  virtual ~IMidiOutputHandler() = default;
  /// The buffer is the caller's again. On any thread, perhaps before `longMessage` returns; must
  /// not block.
  virtual void done(MidiBuffer& buffer) = 0;
};

/// An open output. Its operations may come from any one thread at a time and never block. Whatever
/// was sent leaves in the order of sending. Closed by its destructor, which gives what was sent a
/// moment to leave, and in which the last buffers are done.
class MidiOutputPort {
public:
  virtual ~MidiOutputPort() = default;

  /// One message, packed as in `shortData`. False when there is no room at the moment or the other
  /// end is gone: the message is lost.
  virtual bool shortMessage(std::uint32_t packed) = 0;

  /// The first `recorded` bytes, which may be a piece of a message. False as above; then `done`
  /// doesn't come.
  virtual bool longMessage(MidiBuffer& buffer) = 0;

  /// Nobody hears it any more, as somebody took the connection away; opened anew it may be heard.
  /// Main thread.
  virtual bool isLost() { return false; }
};

/// All MIDI ports of one family, seen from the program: an input brings MIDI in. One thread, the
/// main thread, calls it and opens and closes its ports; all ports are closed before it goes.
class MidiSystem {
public:
  virtual ~MidiSystem() = default;
  virtual const char* name() const = 0; ///< "ALSA MIDI", "JACK MIDI", "Loopback MIDI"

  // Ports
  /// Looks which ports there are; true when the lists are others than before. The first call loads
  /// what the family needs, so a program that wants to be quick calls it when it has the time.
  virtual bool rescan() = 0;
  /// As the last `rescan` found them. A port keeps its name for as long as it is there.
  std::span<const MidiPortInfo> inputs() const { return inputs_; }
  std::span<const MidiPortInfo> outputs() const { return outputs_; }

  /// Null when there is no such port or it can't be had: it has gone meanwhile, or it is a virtual
  /// port that is open already.
  virtual std::unique_ptr<MidiInputPort> openInput(std::size_t index,
                                                   IMidiInputHandler& handler) = 0;
  virtual std::unique_ptr<MidiOutputPort> openOutput(std::size_t index,
                                                     IMidiOutputHandler& handler) = 0;

  // Changes
  /// Called on any thread when ports may have come or gone, once until the next `rescan`: a burst
  /// of changes makes one call. It must not block. Set before the first `rescan`, once.
  virtual void setChangeHandler(std::function<void()> handler) = 0;

  /// For the main thread's idle pass, as often as it likes. Looks every two seconds whether a
  /// server or a device appeared where there was none, which is told as a change.
  virtual void idle() = 0;

  /// The clock in which the stamps are counted. Never goes back, and wraps at 32 bits.
  static std::uint32_t milliseconds();

protected:
  /// For `rescan`: true when anything is new.
  bool replacePorts(std::vector<MidiPortInfo> inputs, std::vector<MidiPortInfo> outputs);

private:
  std::vector<MidiPortInfo> inputs_, outputs_;
};

/// All families that this build knows, without looking for any of them yet. `instrumentName` is
/// what other programs see.
std::vector<std::unique_ptr<MidiSystem>> makeMidiSystems(const std::string& instrumentName);

} // namespace orbi::platform
