#pragma once

#include "host/program_file.h"

#include <ostream>

namespace orbi {

/// As a tree: whose it is, and each program with its parameters.
void printProgramFile(std::ostream& out, const ParsedProgramFile& file);

} // namespace orbi
