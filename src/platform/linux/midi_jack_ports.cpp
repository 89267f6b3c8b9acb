#ifdef ORBI_HAVE_JACK

#include "platform/linux/midi_jack_ports.h"

#include "platform/clock.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

namespace orbi::platform {

namespace {

constexpr std::size_t longestSysex = 1 << 16; // what is longer goes out in pieces of this size
constexpr std::uint8_t sysexEnd = 0xF7;
constexpr std::uint8_t firstRealTime = 0xF8;
constexpr std::int64_t longestDrain = 200'000'000; // nanoseconds

} // namespace

// ---- JackOpenPort -------------------------------------------------------------------------------

JackOpenPort::JackOpenPort(JackClient& client, const std::string& foreign, JackPortFlags direction)
    : client_(client), direction_(direction)
{
  if (client_.gone())
    return;
  if (foreign.empty())
    takeVirtual();
  else
    makeConnected(foreign);
}

void JackOpenPort::takeVirtual()
{
  const bool isInput = direction_ == JackPortIsInput;
  isOpen_ = isInput ? &client_.virtualInputIsOpen : &client_.virtualOutputIsOpen;
  if (std::exchange(*isOpen_, true))
    isOpen_ = nullptr; // somebody else's
  else if (isInput)
    port_ = client_.virtualInput();
  else
    addVirtualOutput();
}

void JackOpenPort::addVirtualOutput()
{
  port_ = client_.addPort("out", JackPortIsOutput | JackPortIsTerminal);
  isAdded_ = port_ != nullptr;
}

void JackOpenPort::makeConnected(const std::string& foreign)
{
  const bool isInput = direction_ == JackPortIsInput;
  jack_port_t* port = client_.addPort((isInput ? "from " : "to ") + foreign, direction_);
  if (port == nullptr)
    return;
  if (client_.connect(port, foreign)) {
    port_ = port;
    isAdded_ = true;
  } else {
    client_.removePort(port);
  }
}

JackOpenPort::~JackOpenPort()
{
  if (isOpen_ != nullptr)
    *isOpen_ = false;
  if (isAdded_)
    client_.removePort(port_);
}

// ---- JackInput ----------------------------------------------------------------------------------

bool JackInput::start()
{
  if (started_)
    return true;
  startedAt_ = latest_ = port_.library().jack_get_time();
  connections_ = 0;
  return started_ = port_.client().attach(*this);
}

void JackInput::reset()
{
  port_.client().detach(*this);
  started_ = false;
  stream_.reset();
}

void JackInput::process(const JackCycle& cycle)
{
  void* events = port_.buffer(cycle.frames);
  const std::uint32_t count = port_.library().jack_midi_get_event_count(events);
  for (std::uint32_t i = 0; i < count; ++i) {
    jack_midi_event_t event{};
    if (port_.library().jack_midi_event_get(&event, events, i) != 0)
      continue;
    const auto offset = static_cast<std::uint64_t>(event.time * cycle.perFrame);
    // The server smooths the times of its cycles: one may lie before the start or overlap the last.
    latest_ = std::max<jack_time_t>(cycle.begin + offset, latest_);
    stream_.feed({event.buffer, event.size}, stamp());
  }
  followConnections(port_.connections());
}

/// Of several players none has keys of its own, so the first that leaves lets go of all.
void JackInput::followConnections(int connections)
{
  if (connections < connections_)
    stream_.breakOff(stamp());
  if (connections != connections_ && !port_.isVirtual())
    lost_.store(connections == 0, std::memory_order_relaxed);
  connections_ = connections;
}

// ---- JackOutput ---------------------------------------------------------------------------------

JackOutput::JackOutput(JackClient& client, const std::string& foreign, IMidiOutputHandler& handler)
    : port_(client, foreign, JackPortIsOutput), handler_(handler)
{
  if (!port_)
    return;
  cycle_.sysex.resize(longestSysex);
  if (port_.isVirtual())
    cycle_.patience = 0; // whether anybody listens is the others' business
  attached_ = client.attach(*this);
}

JackOutput::~JackOutput()
{
  if (used_)
    drain();
  port_.client().detach(*this);
  for (; const Entry* entry = ring_.front(); ring_.pop())
    if (entry->buffer != nullptr)
      handler_.done(*entry->buffer);
}

/// What was sent is written, and then the cycle comes to its end, in which others read it.
void JackOutput::drain()
{
  const JackClient& client = port_.client();
  const std::int64_t limit = steadyNanoseconds() + longestDrain;
  const auto mayWait = [&] {
    return !client.gone() && port_.isConnected() && steadyNanoseconds() < limit;
  };
  const auto waitABit = [] { std::this_thread::sleep_for(std::chrono::microseconds(500)); };
  while (!ring_.empty() && mayWait())
    waitABit();
  const std::uint32_t written = client.passes();
  while (client.passes() - written < 4 && mayWait())
    waitABit();
}

bool JackOutput::shortMessage(std::uint32_t packed)
{
  std::uint8_t bytes[3];
  if (unpackMidi(packed, bytes).empty() || port_.client().gone())
    return false;
  used_ = true;
  return ring_.push({nullptr, packed});
}

bool JackOutput::longMessage(MidiBuffer& buffer)
{
  used_ = true;
  return !port_.client().gone() && ring_.push({&buffer, 0});
}

bool JackOutput::isLost()
{
  const bool isConnected = port_.isConnected();
  wasConnected_ = wasConnected_ || isConnected;
  return wasConnected_ && !isConnected && !port_.isVirtual() && !port_.client().gone();
}

void JackOutput::process(const JackCycle& cycle)
{
  cycle_.room = port_.buffer(cycle.frames);
  port_.library().jack_midi_clear_buffer(cycle_.room);
  cycle_.largest =
      std::min(port_.library().jack_midi_max_event_size(cycle_.room), cycle_.sysex.size());
  if (!mayWrite() || (cycle_.ready && !writeSysex()))
    return;
  for (const Entry* entry = ring_.front(); entry != nullptr && write(*entry); entry = ring_.front())
    ring_.pop();
}

/// The server makes a connection some cycles after it was asked for; what is sent before would be
/// heard by nobody.
bool JackOutput::mayWrite()
{
  if (cycle_.patience > 0 && ring_.front() != nullptr)
    cycle_.patience = port_.isConnected() ? 0 : cycle_.patience - 1;
  return cycle_.patience == 0;
}

/// False when it has to wait for the next cycle.
bool JackOutput::write(const Entry& entry)
{
  if (entry.buffer == nullptr)
    return writeShort(entry.packed);
  if (!writeLong(*entry.buffer))
    return false;
  cycle_.taken = 0;
  handler_.done(*entry.buffer);
  return true;
}

bool JackOutput::writeShort(std::uint32_t packed)
{
  std::uint8_t bytes[3];
  const auto message = unpackMidi(packed, bytes);
  if (message[0] < firstRealTime)
    cycle_.gathered = 0; // a SysEx that broke off
  return writeEvent(message);
}

bool JackOutput::writeLong(MidiBuffer& buffer)
{
  const std::uint32_t size = std::min(buffer.recorded, buffer.capacity);
  while (cycle_.taken < size) {
    if (cycle_.ready && !writeSysex())
      return false;
    const std::uint8_t byte = buffer.data[cycle_.taken++];
    cycle_.sysex[cycle_.gathered++] = byte;
    cycle_.ready = byte == sysexEnd || cycle_.gathered >= cycle_.largest;
  }
  return !cycle_.ready || writeSysex();
}

bool JackOutput::writeSysex()
{
  // More is gathered than fits only when the room has become smaller meanwhile.
  const std::size_t size = std::min(cycle_.gathered, cycle_.largest);
  const auto begin = cycle_.sysex.begin();
  if (!writeEvent({cycle_.sysex.data(), size}))
    return false;
  std::copy(begin + static_cast<std::ptrdiff_t>(size),
            begin + static_cast<std::ptrdiff_t>(cycle_.gathered), begin);
  cycle_.gathered -= size;
  cycle_.ready = cycle_.gathered > 0;
  return !cycle_.ready;
}

bool JackOutput::writeEvent(std::span<const std::uint8_t> bytes)
{
  if (bytes.size() > port_.library().jack_midi_max_event_size(cycle_.room))
    return false;
  auto* place = port_.library().jack_midi_event_reserve(cycle_.room, 0, bytes.size());
  if (place == nullptr)
    return false;
  std::memcpy(place, bytes.data(), bytes.size());
  return true;
}

} // namespace orbi::platform

#endif
