#include "midi/midi_socket.h"

#include "foundation/class_registry.h"

#include <algorithm>

namespace orbi {

CM_REGISTER_ABSTRACT(PMidiInSocket);

namespace {

constexpr uint8_t noteOff = 0x80;
constexpr uint8_t noteOn = 0x90;
constexpr uint8_t sysexBegin = 0xF0;
constexpr uint8_t sysexEnd = 0xF7;

bool isData(uint8_t byte)
{
  return byte < 0x80;
}

} // namespace

void PMidiInSocket::sendPlayed(PMidiEvent& event)
{
  lastTime_.store(event.getTime(), std::memory_order_relaxed);
  // Before: who is connected meanwhile may hear of one end too many, of none too few.
  noteKey(event);
  send(event);
}

void PMidiInSocket::noteKey(const PMidiEvent& event)
{
  const uint8_t status = event.getStatus();
  if (status != noteOn && status != noteOff)
    return;
  const uint8_t key = event.getData1() & 127;
  std::atomic<uint64_t>& keys = held_[event.getChannel()][key / 64];
  const uint64_t bit = uint64_t{1} << key % 64;
  const uint64_t before = keys.load(std::memory_order_relaxed);
  const bool isHeld = status == noteOn && event.getData2() > 0;
  keys.store(isHeld ? before | bit : before & ~bit, std::memory_order_relaxed);
}

/// No event comes to the input through this socket any more, so what is sent now is the last.
bool PMidiInSocket::removeConnection(PPort* other)
{
  Ref<PPort> kept = Ref<PPort>::share(other);
  if (!CmClass::removeConnection(other))
    return false;
  auto* input = castTo<PInput>(other);
  for (int channel = 0; input && channel < 16; ++channel)
    for (int key = 0; key < 128; ++key) {
      const uint64_t keys =
          held_[size_t(channel)][size_t(key) / 64].load(std::memory_order_relaxed);
      if (!(keys >> key % 64 & 1))
        continue;
      PMidiEvent end(static_cast<uint8_t>(noteOff | channel), static_cast<uint8_t>(key), 0);
      end.setTime(lastTime_.load(std::memory_order_relaxed)); // behind what was played
      input->receive(end);
    }
  if (!isConnected()) // closed: what is let go of now isn't heard
    for (auto& channel : held_)
      for (std::atomic<uint64_t>& keys : channel)
        keys.store(0, std::memory_order_relaxed);
  return true;
}

void PMidiInSocket::assembleSysex(std::span<const uint8_t> bytes, double time)
{
  while (!bytes.empty()) {
    const uint8_t byte = bytes.front();
    if (isData(byte)) {
      bytes = bytes.subspan(appendData(bytes));
      continue;
    }
    bytes = bytes.subspan(1);
    if (byte == sysexBegin) { // a message that was under way is lost
      partialSysex_ = make<PSysexEvent>();
      if (!partialSysex_)
        continue;
      partialSysex_->flags |= eventFromSystem;
      partialSysex_->setTime(time);
      partialSysex_->append(sysexBegin);
    } else if (byte == sysexEnd && partialSysex_) {
      Ref<PSysexEvent> complete = std::move(partialSysex_);
      if (complete->append(sysexEnd))
        send(*complete);
    } // others, among them real-time bytes, don't belong to the message
  }
}

/// Appends the data bytes at the beginning and answers how many there are.
size_t PMidiInSocket::appendData(std::span<const uint8_t> bytes)
{
  const auto end = std::find_if_not(bytes.begin(), bytes.end(), isData);
  const auto count = static_cast<size_t>(end - bytes.begin());
  if (partialSysex_ && (partialSysex_->getSize() + count > longestSysex ||
                        !partialSysex_->append(bytes.data(), static_cast<uint32_t>(count))))
    dropPartialSysex();
  return count;
}

} // namespace orbi
