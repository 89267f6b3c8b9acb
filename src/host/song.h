#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orbi {

/// One message of a song. A SysEx has size 0 and its bytes, 0xF0 to 0xF7, in Song::sysex.
struct SongEvent {
  double seconds = 0.0; ///< from the song's start
  std::array<uint8_t, 3> bytes{};
  uint8_t size = 0; ///< 2 or 3
  uint32_t sysexOffset = 0;
  uint32_t sysexBytes = 0;

  bool isSysex() const { return size == 0; }
};

/// What a Standard MIDI File sends to an instrument, ready to be played.
struct Song {
  std::vector<SongEvent> events; ///< by time; at equal times in the order of tracks
  std::vector<uint8_t> sysex;
  double seconds = 0.0; ///< to the end of the longest track

  std::span<const uint8_t> sysexOf(const SongEvent& event) const
  {
    return {sysex.data() + event.sysexOffset, event.sysexBytes};
  }
};

/// Reads formats 0 and 1. Nothing on failure, with what is wrong as the rest of a sentence about
/// the file. Main thread.
std::optional<Song> readSong(const std::filesystem::path& path, std::string& reason);
std::optional<Song> readSong(std::span<const uint8_t> file, std::string& reason);

} // namespace orbi
