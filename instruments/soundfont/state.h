#pragma once

#include "soundfont/parameters.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace soundfont {

constexpr int channelCount = 16;
constexpr int drumChannel = 9;
constexpr int programCount = 128;
constexpr uint16_t drumBank = 128;
constexpr uint16_t highestBank = 16383;
constexpr size_t controllerCount = 128;
constexpr size_t generatorCount = 64; ///< room for FluidSynth's SoundFont generators
constexpr size_t longestName = 63;    ///< bytes
constexpr size_t longestPath = 4095;  ///< bytes

/// What one MIDI channel has been told and keeps: all that shapes its next note.
struct ChannelState {
  uint16_t bank = 0;     ///< in force when the program was chosen
  uint16_t nextBank = 0; ///< selected since, for the next program change
  uint8_t program = 0;
  uint8_t pressure = 0;
  uint8_t bendRange = 2;              ///< semitones
  bool numberIsNonRegistered = false; ///< data entry goes to the NRPN, not to the RPN
  uint16_t bend = 8192;
  std::array<uint8_t, controllerCount> controllers{};
  std::array<float, generatorCount> generators{}; ///< offsets set by RPN and NRPN

  bool operator==(const ChannelState&) const = default;
};

using ChannelStates = std::array<ChannelState, channelCount>;

struct Bank {
  ParameterValues parameters;
  ChannelStates channels;
  std::map<uint8_t, std::string> names; ///< of renamed programs
  std::string font; ///< path, at the chunk's end; empty, and left out, for the default one
};

struct Program {
  ParameterValues parameters;
  uint8_t program;
  uint16_t bank = 0; ///< at the chunk's end when it isn't 0
};

/// Chunks: "OSFP", version, kind, payload bytes (all u32 little-endian), payload. Reading answers
/// nothing unless every size and every value is right to the last byte.
std::vector<uint8_t> writeBank(const Bank& bank);
std::vector<uint8_t> writeProgram(const Program& program);
std::optional<Bank> readBank(const void* data, size_t bytes);
std::optional<Program> readProgram(const void* data, size_t bytes);

} // namespace soundfont
