#pragma once

#include "orbitool/files.h"

#include <vector>

namespace orbi {

/// Whether the two extensions are those of different forms of object files.
bool isConversion(const std::filesystem::path& from, const std::filesystem::path& to);

struct Conversion {
  std::optional<Fault> fault;      ///< why it was refused; the target is as it was
  bool isOfTarget = false;         ///< the fault is the target's, otherwise the source's
  std::vector<std::string> losses; ///< what the other form can't hold
};

/// Brings an object file into the other form. What is to be written is read back before and
/// compared, so that no file comes out that can't be read, and no loss goes by in silence.
Conversion convertFile(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace orbi
