#pragma once

#include "platform/midi_system.h"

namespace orbi::platform {

/// Makes calls of a handler from an input's bytes, whatever pieces they come in: resolves running
/// status, lets real-time messages pass at once, and lays SysEx into the buffers that wait. One
/// thread at a time; allocates nothing.
class MidiInputStream {
public:
  explicit MidiInputStream(IMidiInputHandler& handler) : handler_(handler) {}

  void addBuffer(MidiBuffer& buffer);
  void feed(std::span<const std::uint8_t> bytes, std::uint32_t milliseconds);
  void breakOff(std::uint32_t milliseconds); ///< bytes were lost, or nobody sends any more
  void reset();                              ///< gives all buffers back and forgets what is open

private:
  void status(std::uint8_t byte);
  void data(std::uint8_t byte);
  void beginSysex();
  void sysexByte(std::uint8_t byte);
  void endSysex();
  void abandonSysex();
  bool takeBuffer();
  void giveBack(bool whole);
  MidiBuffer* popWaiting();

  IMidiInputHandler& handler_;
  std::uint32_t now_ = 0; // the stamp of the bytes that are being fed

  std::uint8_t status_ = 0; // of the message that is being gathered; 0 is none
  std::uint8_t data_[2] = {};
  int dataCount_ = 0;

  enum class Sysex { none, taken, dropped } sysex_ = Sysex::none;
  bool lossUntold_ = false; // of a message that found no buffer
  MidiBuffer* filling_ = nullptr;
  std::uint32_t filled_ = 0;
  std::uint32_t fillingSince_ = 0; // its stamp
  MidiBuffer* firstWaiting_ = nullptr;
  MidiBuffer* lastWaiting_ = nullptr;
};

/// Data bytes of a message with this status; 0 for SysEx and what isn't defined.
int midiDataBytes(std::uint8_t status);

/// The bytes of a packed message, laid into `bytes`; none without a proper status.
std::span<const std::uint8_t> unpackMidi(std::uint32_t packed, std::span<std::uint8_t, 3> bytes);

} // namespace orbi::platform
