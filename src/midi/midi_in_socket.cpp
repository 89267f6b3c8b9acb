#include "midi/midi_socket.h"

#include "foundation/class_registry.h"

#include <algorithm>

namespace orbi {

CM_REGISTER_ABSTRACT(PMidiInSocket);

namespace {

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
  held_.note(event);
  send(event);
}

/// What was held before or is held after: who left between the two may have heard of neither end.
bool PMidiInSocket::removeConnection(PPort* other)
{
  Ref<PPort> kept = Ref<PPort>::share(other);
  PHeldKeys::State held = held_.state();
  if (!CmClass::removeConnection(other))
    return false;
  held |= held_.state();
  if (auto* input = castTo<PInput>(other)) // to which no event comes from here any more
    held.release(lastTime_.load(std::memory_order_relaxed),
                 [input](PMidiEvent& end) { input->receive(end); });
  if (!isConnected()) // closed: what is let go of now isn't heard
    held_.clear();
  return true;
}

/// Before the port closes for a while, with its connections left.
void PMidiInSocket::deactivate()
{
  if (!isActivated())
    return;
  CmClass::deactivate();
  held_.state().release(lastTime_.load(std::memory_order_relaxed),
                        [this](PMidiEvent& end) { send(end); });
  held_.clear();
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
