#include "studio/tree.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(FTree);

} // namespace orbi
