#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace orbi {

constexpr size_t largestMidiFile = 64u << 20;    ///< bytes
constexpr size_t mostMidiFileEvents = 1'000'000; ///< channel messages and SysEx of all tracks
constexpr size_t mostTempoSteps = 10'000;

/// Goes through every byte of a Standard MIDI File and writes to `tidy` one with the same music
/// that no reader can stumble over: format 1, the tempo map in a first track of its own, then the
/// tracks in short pieces with full status bytes, SysEx messages in one piece, no other meta
/// events, each with its end. Empty on success, otherwise what is wrong, as the rest of a sentence
/// about the file.
std::string tidyMidiFile(std::span<const uint8_t> file, std::vector<uint8_t>& tidy);

} // namespace orbi
