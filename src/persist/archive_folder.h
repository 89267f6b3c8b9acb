#pragma once

#include "persist/resource_archive.h"

namespace orbi {

// Archives as a whole, in the files of the operating system. The reason of a failure names what it
// failed at.

/// Writes an archive with the contents of the folder at its root, in the order of names. A file
/// that has the archive's name is replaced in the end and left as it is on failure. Refused: links
/// to folders, pipes and the like, names that an archive can't hold.
FArchiveResult createArchive(const FNPath& archive, const FNPath& folder,
                             FArchiveProgress* progress = nullptr);

/// Writes all files of the archive into the folder, which is made when it is missing; files that
/// are there are replaced. Nothing is written before the names of all are known to lie within the
/// folder. What was written before a later failure stays.
FArchiveResult extractArchive(const FNPath& archive, const FNPath& folder);

} // namespace orbi
