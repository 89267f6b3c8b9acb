#ifdef ORBI_HAVE_ALSA

#include "platform/linux/midi_alsa_ports.h"

#include "platform/clock.h"
#include "platform/linux/midi_alsa_event.h"

#include <algorithm>
#include <utility>

namespace orbi::platform {

namespace {

constexpr std::int64_t nanosecondsPerWireByte = 320'000; // ten bits at 31250 a second
constexpr std::uint32_t pieceBytes = 256;                // of SysEx, as drivers send it themselves

} // namespace

// ---- AlsaInput ----------------------------------------------------------------------------------

AlsaInput::AlsaInput(AlsaOpenPort port, const AlsaClock& clock, IMidiInputHandler& handler)
    : port_(std::move(port)), clock_(clock), stream_(handler),
      reader_(*port_.client, [this](const snd_seq_event_t* event) { take(event); })
{
}

AlsaInput::~AlsaInput()
{
  reader_.stop();
  port_.closed();
}

bool AlsaInput::start()
{
  if (started_)
    return true;
  port_.client->library().snd_seq_drop_input(port_.client->handle()); // what came unasked for
  startedAt_ = steadyNanoseconds();
  return started_ = reader_.start("MIDI input");
}

void AlsaInput::reset()
{
  reader_.stop();
  started_ = false;
  stream_.reset();
}

std::uint32_t AlsaInput::stamp(std::int64_t time) const
{
  return static_cast<std::uint32_t>(std::max<std::int64_t>(time - startedAt_, 0) / 1'000'000);
}

/// Events, or a connection: the sequencer tells a port of what others do with it. Of several
/// players none has keys of its own, so the first that leaves lets go of all.
void AlsaInput::lose()
{
  stream_.breakOff(stamp(steadyNanoseconds()));
  if (!port_.own || port_.client->isWrittenTo(port_.port))
    return;
  lost_.store(true, std::memory_order_relaxed);
  port_.lost();
}

void AlsaInput::take(const snd_seq_event_t* event)
{
  if (event == nullptr) {
    lose();
    return;
  }
  if (event->type == SND_SEQ_EVENT_PORT_SUBSCRIBED && event->dest.port == port_.port)
    lost_.store(false, std::memory_order_relaxed);
  if (event->type == SND_SEQ_EVENT_PORT_UNSUBSCRIBED && event->dest.port == port_.port)
    lose();
  std::uint8_t room[mostAlsaEventBytes];
  const auto bytes = bytesOfAlsaEvent(*event, room);
  if (!bytes.empty() && event->dest.port == port_.port)
    stream_.feed(bytes, stamp(clock_.timeOf(*event)));
}

// ---- AlsaWire -----------------------------------------------------------------------------------

bool AlsaWire::start()
{
  thread_ = ThreadHandle::start("MIDI output", [this] { run(); });
  return bool(thread_);
}

AlsaWire::~AlsaWire()
{
  ending_.set(); // the rest is done without waiting
  waiting_.release();
  thread_.join();
}

void AlsaWire::sent(MidiBuffer& buffer)
{
  const std::int64_t length = buffer.recorded * nanosecondsPerWireByte;
  busyUntil_ = std::max(busyUntil_, steadyNanoseconds()) + length;
  ring_.push({&buffer, busyUntil_});
  waiting_.release();
}

void AlsaWire::run()
{
  for (;;) {
    waiting_.wait();
    const Sent* next = ring_.front();
    if (next == nullptr)
      return; // woken for the end
    const std::int64_t left = (next->done - steadyNanoseconds()) / 1'000'000;
    if (left > 0)
      ending_.wait(static_cast<std::uint32_t>(left));
    MidiBuffer& buffer = *next->buffer;
    ring_.pop();
    handler_.done(buffer);
  }
}

// ---- AlsaOutput ---------------------------------------------------------------------------------

AlsaOutput::AlsaOutput(AlsaOpenPort port, bool isHardware, IMidiOutputHandler& handler)
    : port_(std::move(port)), handler_(handler)
{
  if (isHardware && !wire_.emplace(handler).start())
    wire_.reset();
}

AlsaOutput::~AlsaOutput()
{
  wire_.reset();
  port_.closed();
}

bool AlsaOutput::send(snd_seq_event_t& event)
{
  snd_seq_ev_set_source(&event, static_cast<unsigned char>(port_.port));
  snd_seq_ev_set_subs(&event);
  snd_seq_ev_set_direct(&event);
  return port_.client->library().snd_seq_event_output_direct(port_.client->handle(), &event) >= 0;
}

bool AlsaOutput::shortMessage(std::uint32_t packed)
{
  std::uint8_t bytes[3];
  snd_seq_event_t event{};
  return alsaEventOfBytes(unpackMidi(packed, bytes), event) && send(event);
}

/// What the sequencer has taken can't be taken back, so a long message that finds no room in its
/// midst is cut off there. Senders of pieces no longer than one here don't meet that.
bool AlsaOutput::longMessage(MidiBuffer& buffer)
{
  if (wire_ && !wire_->hasRoom())
    return false;
  const std::uint32_t size = std::min(buffer.recorded, buffer.capacity);
  for (std::uint32_t at = 0; at < size; at += pieceBytes) {
    snd_seq_event_t event{};
    snd_seq_ev_set_sysex(&event, std::min(pieceBytes, size - at), buffer.data + at);
    if (!send(event))
      return false;
  }
  if (wire_)
    wire_->sent(buffer);
  else
    handler_.done(buffer);
  return true;
}

} // namespace orbi::platform

#endif
