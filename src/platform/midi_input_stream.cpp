#include "platform/midi_input_stream.h"

#include <algorithm>
#include <utility>

namespace orbi::platform {

namespace {

constexpr std::uint8_t sysexBegin = 0xF0;
constexpr std::uint8_t sysexEnd = 0xF7;
constexpr std::uint8_t firstRealTime = 0xF8;

constexpr std::uint8_t channelDataBytes[] = {2, 2, 2, 2, 1, 1, 2};   // 0x80, 0x90 and so on
constexpr std::uint8_t systemDataBytes[] = {0, 1, 2, 1, 0, 0, 0, 0}; // 0xF0 and so on
constexpr bool systemIsDefined[] = {true, true,  true, true, false, false, true, true, // 0xF0...
                                    true, false, true, true, true,  false, true, true};

bool isDefined(std::uint8_t status)
{
  return status < sysexBegin || systemIsDefined[status & 0x0F];
}

} // namespace

int midiDataBytes(std::uint8_t status)
{
  if (status >= firstRealTime || status < 0x80)
    return 0;
  return status < sysexBegin ? channelDataBytes[(status >> 4) - 8] : systemDataBytes[status & 7];
}

std::span<const std::uint8_t> unpackMidi(std::uint32_t packed, std::span<std::uint8_t, 3> bytes)
{
  const auto status = static_cast<std::uint8_t>(packed);
  if (status < 0x80 || status == sysexBegin || status == sysexEnd || !isDefined(status))
    return {};
  bytes[0] = status;
  bytes[1] = packed >> 8 & 0x7F;
  bytes[2] = packed >> 16 & 0x7F;
  return bytes.first(1 + static_cast<std::size_t>(midiDataBytes(status)));
}

// ---- bytes --------------------------------------------------------------------------------------

void MidiInputStream::feed(std::span<const std::uint8_t> bytes, std::uint32_t milliseconds)
{
  now_ = milliseconds;
  for (const std::uint8_t byte : bytes) {
    if (byte >= firstRealTime) {
      if (isDefined(byte))
        handler_.shortData(byte, now_);
    } else if (byte >= 0x80) {
      status(byte);
    } else {
      data(byte);
    }
  }
}

void MidiInputStream::status(std::uint8_t byte)
{
  if (byte == sysexEnd) {
    endSysex();
    return;
  }
  abandonSysex();
  status_ = 0;
  if (byte == sysexBegin) {
    beginSysex();
  } else if (isDefined(byte)) {
    dataCount_ = 0;
    if (midiDataBytes(byte) > 0)
      status_ = byte;
    else
      handler_.shortData(byte, now_);
  }
}

void MidiInputStream::data(std::uint8_t byte)
{
  if (sysex_ != Sysex::none) {
    sysexByte(byte);
    return;
  }
  if (status_ == 0)
    return;
  data_[dataCount_++] = byte;
  const int wanted = midiDataBytes(status_);
  if (dataCount_ < wanted)
    return;
  dataCount_ = 0;
  const std::uint32_t second = wanted == 2 ? data_[1] : 0U;
  const std::uint32_t packed = status_ | std::uint32_t{data_[0]} << 8 | second << 16;
  if (status_ >= sysexBegin)
    status_ = 0; // only channel messages run on
  handler_.shortData(packed, now_);
}

// ---- SysEx --------------------------------------------------------------------------------------

void MidiInputStream::beginSysex()
{
  if (std::exchange(lossUntold_, false)) {
    // The loss is told with a buffer of its own, which is usually waiting again at once.
    if (MidiBuffer* buffer = popWaiting()) {
      buffer->recorded = 0;
      handler_.longError(*buffer, now_);
    } else {
      lossUntold_ = true;
    }
  }
  sysex_ = Sysex::taken;
  sysexByte(sysexBegin);
}

void MidiInputStream::sysexByte(std::uint8_t byte)
{
  if (sysex_ != Sysex::taken)
    return;
  if (filling_ == nullptr && !takeBuffer()) {
    sysex_ = Sysex::dropped;
    lossUntold_ = true;
    return;
  }
  filling_->data[filled_++] = byte;
  if (filled_ == filling_->capacity || byte == sysexEnd)
    giveBack(true);
}

void MidiInputStream::endSysex()
{
  sysexByte(sysexEnd);
  sysex_ = Sysex::none;
  status_ = 0;
}

/// What came of a message that broke off goes back as an error.
void MidiInputStream::abandonSysex()
{
  if (std::exchange(sysex_, Sysex::none) != Sysex::taken)
    return;
  if (filling_ == nullptr && !takeBuffer())
    lossUntold_ = true;
  else
    giveBack(false);
}

void MidiInputStream::breakOff(std::uint32_t milliseconds)
{
  now_ = milliseconds;
  abandonSysex();
  status_ = 0;
  handler_.lost();
}

// ---- buffers ------------------------------------------------------------------------------------

void MidiInputStream::addBuffer(MidiBuffer& buffer)
{
  if (buffer.data == nullptr || buffer.capacity == 0)
    return;
  buffer.next = nullptr;
  (lastWaiting_ != nullptr ? lastWaiting_->next : firstWaiting_) = &buffer;
  lastWaiting_ = &buffer;
}

MidiBuffer* MidiInputStream::popWaiting()
{
  MidiBuffer* buffer = firstWaiting_;
  if (buffer != nullptr)
    firstWaiting_ = std::exchange(buffer->next, nullptr);
  if (firstWaiting_ == nullptr)
    lastWaiting_ = nullptr;
  return buffer;
}

bool MidiInputStream::takeBuffer()
{
  filling_ = popWaiting();
  filled_ = 0;
  fillingSince_ = now_;
  return filling_ != nullptr;
}

void MidiInputStream::giveBack(bool whole)
{
  MidiBuffer& buffer = *std::exchange(filling_, nullptr);
  buffer.recorded = filled_;
  if (whole)
    handler_.longData(buffer, fillingSince_);
  else
    handler_.longError(buffer, fillingSince_);
}

void MidiInputStream::reset()
{
  sysex_ = Sysex::none;
  lossUntold_ = false;
  status_ = 0;
  MidiBuffer* waiting = std::exchange(firstWaiting_, nullptr);
  lastWaiting_ = nullptr; // a buffer that the handler adds now waits for the next start
  if (filling_ != nullptr)
    giveBack(true);
  while (waiting != nullptr) {
    MidiBuffer& buffer = *waiting;
    waiting = std::exchange(buffer.next, nullptr);
    handler_.longData(buffer, now_);
  }
}

} // namespace orbi::platform
