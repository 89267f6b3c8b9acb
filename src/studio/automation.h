#pragma once

#include "foundation/object.h"

namespace orbi {

class PDeviceNode;

/// Plays and records the parameters of the node that it hangs on and of those below.
class PAutomation : public CmClass<PAutomation, CmObject> {
public:
  static constexpr const char* className = "PAutomation";

  virtual void nodeAdded(PDeviceNode* node) = 0;   ///< it stands in its place
  virtual void nodeRemoved(PDeviceNode* node) = 0; ///< it still stands in its place
  virtual void setReadEnable(PDeviceNode* node, bool on) = 0;
  virtual void setWriteEnable(PDeviceNode* node, bool on) = 0;
  /// The way of a parameter's changes, for an object that asked for it; see routeParameter.
  virtual int32_t routeParameter(PDeviceNode* node, int32_t tag, CmObject* object) = 0;
};

} // namespace orbi
