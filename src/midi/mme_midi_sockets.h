#pragma once

#include "foundation/uid.h"
#include "midi/midi_socket.h"
#include "platform/event.h"
#include "platform/midi_system.h"
#include "platform/thread.h"

#include <array>

namespace orbi {

class PMmeMidiDevice;

/// The system's port behind a socket.
struct PMmePort {
  size_t index = 0; ///< in the system's list
  platform::MidiPortInfo info;

  /// Takes its present place. True when the port was away meanwhile: what is open to it is dead.
  bool follow(PMmePort present)
  {
    const bool wasAway = present.info.generation != info.generation;
    *this = std::move(present);
    return wasAway;
  }
};

/// A port that brings MIDI in.
class PMmeMidiInSocket final : public CmClass<PMmeMidiInSocket, PMidiInSocket>,
                               private platform::IMidiInputHandler {
public:
  static constexpr const char* className = "PMmeMidiInSocket";

  PMmeMidiInSocket(PMmeMidiDevice& device, PMmePort port, const char* kind, FUID uid);
  ~PMmeMidiInSocket() override;

  const FUID& portUID() const { return portUID_; }
  bool follow(PMmePort port) { return port_.follow(std::move(port)); }
  bool isBridge() const override { return port_.info.isBridge; }
  bool repeats(const PMidiInSocket& other) const override;
  /// Somebody else took its connection.
  bool isLost() const { return handle_ && handle_->isLost(); }
  void applyPriority(); ///< to the system's thread that calls, where there is one of its own

protected:
  bool open() override;
  void close() override;

private:
  static constexpr size_t headerCount = 4;
  static constexpr uint32_t headerBytes = 8192;

  double secondsAt(uint32_t milliseconds) const;
  void arm(platform::MidiBuffer& header);

  // The system's thread
  void shortData(uint32_t packed, uint32_t milliseconds) override;
  void longData(platform::MidiBuffer& header, uint32_t milliseconds) override;
  void longError(platform::MidiBuffer& header, uint32_t milliseconds) override;
  void lost() override { letGo(); }

  PMmeMidiDevice& device_;
  PMmePort port_;
  const FUID portUID_;
  std::unique_ptr<platform::MidiInputPort> handle_;
  std::array<platform::MidiBuffer, headerCount> headers_{};
  std::unique_ptr<uint8_t[]> memory_;   ///< of the headers
  std::atomic<uint32_t> timeBase_{0};   ///< the system's clock when the port was started
  platform::ThreadId driverThread_ = 0; ///< 0 for none, or none that is known
};

/// A port to which MIDI is sent. Long messages go out in pieces; what is sent meanwhile waits for
/// their end, but for real-time messages.
class PMmeMidiOutSocket final : public CmClass<PMmeMidiOutSocket, PMidiOutSocket>,
                                private platform::IMidiOutputHandler {
public:
  static constexpr const char* className = "PMmeMidiOutSocket";

  PMmeMidiOutSocket(PMmeMidiDevice& device, PMmePort port, const char* kind, FUID uid);
  ~PMmeMidiOutSocket() override;

  const FUID& portUID() const { return portUID_; }
  bool follow(PMmePort port) { return port_.follow(std::move(port)); }

  bool receive(PEvent& event) override;
  double pump(double now) override;
  void allNotesOffNow() override;
  bool hasWaiting() const; ///< whether pumping may have anything to do
  bool isLost() const { return handle_ && handle_->isLost(); }

protected:
  bool open() override;
  void close() override;
  void closes() override;
  void sendNow(PMidiEvent& event) override;

private:
  static constexpr size_t headerCount = 10;
  static constexpr uint32_t headerBytes = 128;

  /// A piece of a long message on its way.
  struct Header {
    platform::MidiBuffer buffer;
    platform::Event isFree{platform::EventReset::manual, true};
    uint8_t bytes[headerBytes];
  };

  void done(platform::MidiBuffer& buffer) override;
  bool sendShort(const PMidiEvent& event);
  bool mayTryAgain(const PMidiEvent& event);
  void sendChunk();
  void fill(platform::MidiBuffer& buffer);
  void queuePending(const PMidiEvent& event);
  void sendPending();
  enum class LongMessages { keep, drop };
  void sendPendingEnds(LongMessages waiting);
  void finishSysex();

  PMmeMidiDevice& device_;
  PMmePort port_;
  const FUID portUID_;
  std::unique_ptr<platform::MidiOutputPort> handle_;
  std::unique_ptr<std::array<Header, headerCount>> headers_; ///< while it is open
  size_t nextHeader_ = 0;

  FLock pendingLock_{"PMmeMidiOutSocket"};
  PEventQueue pendingQueue_; ///< behind the message that is being sent
  Ref<PSysexEvent> currentSysex_;
  uint32_t sysexOffset_ = 0;         ///< bytes of it that were sent
  int failures_ = 0;                 ///< since a message was taken, of those that must not get lost
  std::atomic<bool> pending_{false}; ///< whether there is any of both, for the test without a lock
};

} // namespace orbi
