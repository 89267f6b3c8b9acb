#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace orbi {

/// What one call of orbitool does, arguments without the program's name. The status: 0, 1 when
/// something failed or is wrong with a file, 2 for wrong usage. Makes the native file system, so
/// nobody else may have one.
int runTool(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

} // namespace orbi
