#pragma once

#include "foundation/array.h"

namespace orbi {

class PDeviceNode;

/// Chooses what of a tree of nodes goes into a snapshot. The nodes below one that is refused are
/// asked about all the same.
class PSnapshotFilter {
public:
  virtual bool accepts(const PDeviceNode& node) = 0;
  /// How many parameters of the node are chosen one by one; 0 for all that it has.
  virtual int32_t countStates(const PDeviceNode& node) = 0;
  /// Adds a ParameterTagState for each; the list owns them.
  virtual void fillStates(const PDeviceNode& node, CmArray& states) = 0;

protected:
  ~PSnapshotFilter() = default;
};

} // namespace orbi
