#include "studio/automation.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER_ABSTRACT(PAutomation);

} // namespace orbi
