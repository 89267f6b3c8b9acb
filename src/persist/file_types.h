#pragma once

#include "foundation/file_type.h"

namespace orbi {

/// The kinds of files that this layer reads and writes.
FFileType xmlFileType();      ///< "Quillmore XML File", object files and settings
FFileType binaryFileType();   ///< "Quillmore BIN File", object files
FFileType presetFileType();   ///< "Quillmore Preset File", object files with preset lists
FFileType resourceFileType(); ///< "Quillmore Resource File", archives

} // namespace orbi
