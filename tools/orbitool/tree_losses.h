#pragma once

#include "foundation/attributes.h"

#include <string>
#include <vector>

namespace orbi {

/// What a tree lacks against the one that it was made of: a line each, "path: reason". Objects and
/// references count by what they lead to, wherever in the file that stands. Depth is limited by
/// memory only.
std::vector<std::string> lossesBetween(FAttributes& before, FAttributes& after);

} // namespace orbi
