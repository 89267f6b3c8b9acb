#include "studio/parameter_tag_state.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(ParameterTagState);

} // namespace orbi
