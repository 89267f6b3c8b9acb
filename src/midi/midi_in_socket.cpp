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
  held_.noteBegin(event);
  send(event);
  held_.noteEnd(event);
}

/// The port's other end has gone. What another input holds, too, ends as well: who connects to whom
/// is the main thread's knowledge, and a note that hangs is worse than one that is cut. The
/// system's thread.
void PMidiInSocket::letGo()
{
  held_.state().release(lastTime_.load(std::memory_order_relaxed),
                        [this](PMidiEvent& end) { send(end); });
  held_.clear();
}

/// To one of its inputs, the ends of what is held here and through no other of that one's
/// connections.
void PMidiInSocket::letGoOf(PHeldKeys::State held, PPort* other)
{
  if (auto* consumer = castTo<PMidiInput>(other))
    held -= consumer->heldByConnections(this);
  if (auto* input = castTo<PInput>(other))
    held.release(lastTime_.load(std::memory_order_relaxed),
                 [input](PMidiEvent& end) { input->receive(end); });
}

/// What is held before, and what is held or was pressed until nothing comes to the input any more.
/// Of a key that was let go of before the first look, the input has heard; of each press that it
/// may have heard of later, the second look tells. One end too many harms nobody, so keys count
/// that were pressed when it had left already.
bool PMidiInSocket::removeConnection(PPort* other)
{
  Ref<PPort> kept = Ref<PPort>::share(other);
  held_.mark();
  PHeldKeys::State held = held_.state();
  if (!CmClass::removeConnection(other))
    return false;
  held |= held_.heldSinceMark();
  letGoOf(held, other);
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
  for (int32_t i = 0; i < countConnections(); ++i)
    letGoOf(held_.state(), connectionAt(i));
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
