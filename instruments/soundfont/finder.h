#pragma once

#include <string>

namespace soundfont {

/// The SoundFont file to play, or an empty text when there is none. In this order: the module's own
/// name with .sf2 or .sf3 beside the module, the file that ORBI_SOUNDFONT names, the system's.
std::string findSoundFont();

/// The path by which this module was loaded, without its extension; empty when it isn't known.
std::string moduleStem();

bool keepModule(); ///< in memory, even when its last user closes it; for a thread that still runs

} // namespace soundfont
