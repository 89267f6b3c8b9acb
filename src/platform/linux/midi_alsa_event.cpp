#ifdef ORBI_HAVE_ALSA

#include "platform/linux/midi_alsa_event.h"

#include <algorithm>
#include <iterator>

namespace orbi::platform {

namespace {

/// Where the data bytes lie in an event.
enum class Layout { note, control, value, bend, position, none };

struct Kind {
  std::uint8_t status; // without channel
  snd_seq_event_type type;
  Layout layout;
};

// An event with a length is last, so that nothing is turned into it.
constexpr Kind kinds[] = {
    {0x80, SND_SEQ_EVENT_NOTEOFF, Layout::note},
    {0x90, SND_SEQ_EVENT_NOTEON, Layout::note},
    {0xA0, SND_SEQ_EVENT_KEYPRESS, Layout::note},
    {0xB0, SND_SEQ_EVENT_CONTROLLER, Layout::control},
    {0xC0, SND_SEQ_EVENT_PGMCHANGE, Layout::value},
    {0xD0, SND_SEQ_EVENT_CHANPRESS, Layout::value},
    {0xE0, SND_SEQ_EVENT_PITCHBEND, Layout::bend},
    {0xF1, SND_SEQ_EVENT_QFRAME, Layout::value},
    {0xF2, SND_SEQ_EVENT_SONGPOS, Layout::position},
    {0xF3, SND_SEQ_EVENT_SONGSEL, Layout::value},
    {0xF6, SND_SEQ_EVENT_TUNE_REQUEST, Layout::none},
    {0xF8, SND_SEQ_EVENT_CLOCK, Layout::none},
    {0xFA, SND_SEQ_EVENT_START, Layout::none},
    {0xFB, SND_SEQ_EVENT_CONTINUE, Layout::none},
    {0xFC, SND_SEQ_EVENT_STOP, Layout::none},
    {0xFE, SND_SEQ_EVENT_SENSING, Layout::none},
    {0xFF, SND_SEQ_EVENT_RESET, Layout::none},
    {0x90, SND_SEQ_EVENT_NOTE, Layout::note},
};

/// One event for what are several controllers on the wire, in the order of sending. A number of 14
/// bits comes before its value.
struct Compound {
  snd_seq_event_type type;
  std::uint8_t numberHigh, numberLow; // 0: the event's number is the controller itself
};

constexpr Compound compounds[] = {
    {SND_SEQ_EVENT_CONTROL14, 0, 0},
    {SND_SEQ_EVENT_NONREGPARAM, 99, 98},
    {SND_SEQ_EVENT_REGPARAM, 101, 100},
};

constexpr int bendCentre = 8192;
constexpr int largest7 = 127;
constexpr int largest14 = 16383;

std::uint8_t low7(int value)
{
  return static_cast<std::uint8_t>(value & 0x7F);
}
std::uint8_t high7(int value)
{
  return static_cast<std::uint8_t>(value >> 7 & 0x7F);
}
std::uint8_t clamped(int value)
{
  return static_cast<std::uint8_t>(std::clamp(value, 0, largest7));
}

std::uint8_t* putData(const snd_seq_event_t& event, Layout layout, std::uint8_t* at)
{
  const snd_seq_ev_ctrl_t& control = event.data.control;
  const int value14 = layout == Layout::bend
                          ? std::clamp(control.value, -bendCentre, bendCentre - 1) + bendCentre
                          : std::clamp(control.value, 0, largest14);
  switch (layout) {
  case Layout::note:
    *at++ = low7(event.data.note.note);
    *at++ = low7(event.data.note.velocity);
    break;
  case Layout::control:
    *at++ = low7(static_cast<int>(control.param));
    *at++ = clamped(control.value);
    break;
  case Layout::value:
    *at++ = clamped(control.value);
    break;
  case Layout::bend:
  case Layout::position:
    *at++ = low7(value14);
    *at++ = high7(value14);
    break;
  case Layout::none:
    break;
  }
  return at;
}

std::uint8_t* putCompound(const snd_seq_event_t& event, const Compound& compound, std::uint8_t* at)
{
  const snd_seq_ev_ctrl_t& control = event.data.control;
  const auto status = static_cast<std::uint8_t>(0xB0 | (control.channel & 0x0F));
  const auto put = [&at, status](std::uint8_t controller, std::uint8_t value) {
    for (const std::uint8_t byte : {status, controller, value})
      *at++ = byte;
  };
  const int number = static_cast<int>(control.param);
  const int value = std::clamp(control.value, 0, largest14);
  if (compound.numberHigh != 0) {
    put(compound.numberHigh, high7(number));
    put(compound.numberLow, low7(number));
    put(6, high7(value)); // data entry
    put(38, low7(value));
  } else if (number < 32) {
    put(low7(number), high7(value));
    put(low7(number + 32), low7(value));
  } else {
    put(low7(number), clamped(control.value)); // has no second half
  }
  return at;
}

} // namespace

std::span<const std::uint8_t> bytesOfAlsaEvent(const snd_seq_event_t& event,
                                               std::span<std::uint8_t, mostAlsaEventBytes> room)
{
  if (event.type == SND_SEQ_EVENT_SYSEX)
    return {static_cast<const std::uint8_t*>(event.data.ext.ptr), event.data.ext.len};

  std::uint8_t* at = room.data();
  for (const Compound& compound : compounds)
    if (event.type == compound.type)
      return {room.data(), putCompound(event, compound, at)};
  for (const Kind& kind : kinds) {
    if (event.type != kind.type)
      continue;
    const int channel =
        kind.layout == Layout::note ? event.data.note.channel : event.data.control.channel;
    *at++ = static_cast<std::uint8_t>(kind.status | (kind.status < 0xF0 ? channel & 0x0F : 0));
    return {room.data(), putData(event, kind.layout, at)};
  }
  return {};
}

bool alsaEventOfBytes(std::span<const std::uint8_t> message, snd_seq_event_t& event)
{
  if (message.empty())
    return false;
  const std::uint8_t first = message[0];
  const int status = first < 0xF0 ? first & 0xF0 : first;
  const auto* kind = std::find_if(std::begin(kinds), std::end(kinds),
                                  [status](const Kind& one) { return one.status == status; });
  if (kind == std::end(kinds))
    return false;

  const auto channel = static_cast<std::uint8_t>(first < 0xF0 ? first & 0x0F : 0);
  const std::uint8_t one = message.size() > 1 ? message[1] : std::uint8_t{0};
  const std::uint8_t two = message.size() > 2 ? message[2] : std::uint8_t{0};
  event.type = kind->type;
  if (kind->layout == Layout::note) {
    event.data.note.channel = channel;
    event.data.note.note = one;
    event.data.note.velocity = two;
  } else if (kind->layout != Layout::none) {
    event.data.control.channel = channel;
    event.data.control.param = kind->layout == Layout::control ? one : 0;
    const int value14 = two << 7 | one;
    const int values[] = {0, two, one, value14 - bendCentre, value14}; // in the order of Layout
    event.data.control.value = values[static_cast<int>(kind->layout)];
  }
  return true;
}

} // namespace orbi::platform

#endif
