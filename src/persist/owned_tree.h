#pragma once

#include "foundation/attributes.h"

namespace orbi {

/// Makes a tree its own: afterwards it refers to no object and no memory of anybody else's and may
/// be kept for later. Borrowed texts become copies, binary values FMemoryStreams, and objects
/// FXmlInstances of what storeAttributes says now. Containers and lists that others hold, too, are
/// replaced by copies; an object met again becomes a reference to its first place.
///
/// False when an object couldn't be stored; the tree is partly done then. Depth is limited by
/// memory only.
bool ownTree(FAttributes& tree);

} // namespace orbi
