#pragma once

#include <alsa/asoundlib.h>

#include <cstdint>
#include <span>

namespace orbi::platform {

inline constexpr std::size_t mostAlsaEventBytes = 12; ///< of an event that isn't a piece of SysEx

/// What an event of the sequencer means in bytes, laid into `room`; a piece of SysEx stays where it
/// is. Empty for what is no MIDI. Values out of range are brought into it.
std::span<const std::uint8_t> bytesOfAlsaEvent(const snd_seq_event_t& event,
                                               std::span<std::uint8_t, mostAlsaEventBytes> room);

/// The event for one whole short message; false when there is none. Address and time are left.
bool alsaEventOfBytes(std::span<const std::uint8_t> message, snd_seq_event_t& event);

} // namespace orbi::platform
