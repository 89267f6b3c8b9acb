#pragma once

#include "studio/device_node.h"
#include "studio/tree.h"

namespace orbi {

/// The tree of the studio's equipment. Its root is a node that stays.
class PDeviceTree final : public CmClass<PDeviceTree, FTree> {
public:
  static constexpr const char* className = "PDeviceTree";

  PDeviceTree();

  PDeviceNode* root() const { return static_cast<PDeviceNode*>(FTree::root()); } ///< never null
  void setStudio(PStudio* studio); ///< whom the root names; borrowed, null when it goes

private:
  class Root;
};

} // namespace orbi
