#include "studio/device_tree.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(PDeviceTree);

/// For all others a plain node.
class PDeviceTree::Root final : public PDeviceNode {
public:
  Root() : PDeviceNode("Device Root") {}
  Root(const Root&) = delete;

  PStudio* getStudio() const override { return studio; }

  PStudio* studio = nullptr;
};

PDeviceTree::PDeviceTree() : CmClass(make<Root>(), "Devices") {}

void PDeviceTree::setStudio(PStudio* studio)
{
  static_cast<Root*>(FTree::root())->studio = studio;
}

} // namespace orbi
