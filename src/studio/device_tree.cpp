#include "studio/device_tree.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(PDeviceTree);

PDeviceTree::PDeviceTree() : CmClass(make<PDeviceNode>("Device Root"), "Devices") {}

} // namespace orbi
