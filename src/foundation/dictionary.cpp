#include "foundation/dictionary.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(CmDictionary);

} // namespace orbi
