#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace soundfont {

struct Preset {
  uint16_t bank;
  uint8_t program;
  std::string name;
};

/// What is known of a loaded SoundFont. Never changes once it is made.
struct Font {
  std::string path;
  std::string name;            ///< the file's, without folder and extension
  std::vector<Preset> presets; ///< by bank, then program
  std::string missing;         ///< path of the one that this stands in for; mostly empty
};

} // namespace soundfont
