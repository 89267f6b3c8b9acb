#pragma once

#include "orbitool/files.h"
#include "persist/resource_archive.h"

namespace orbi {

/// Opens an archive whose directory is whole. Null on failure.
Ref<FResourceArchive> openArchive(const std::filesystem::path& path, Fault& fault);

/// What else is wrong with an archive: entries that lie outside of it, or that can't be read or
/// made files of.
std::optional<Fault> faultOfEntries(FResourceArchive& archive);

void listArchive(std::ostream& out, const FResourceArchive& archive);  ///< size and path of each
void printArchive(std::ostream& out, const FResourceArchive& archive); ///< as a tree

// The commands, on whole archives
std::optional<Fault> extractTo(const std::filesystem::path& archive,
                               const std::filesystem::path& folder);
std::optional<Fault> createFrom(const std::filesystem::path& archive,
                                const std::filesystem::path& folder);

} // namespace orbi
