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
