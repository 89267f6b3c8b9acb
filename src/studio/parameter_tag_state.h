#pragma once

#include "foundation/object.h"

namespace orbi {

/// Names one parameter of a node for a snapshot, with the value that it shall have there.
class ParameterTagState final : public CmClass<ParameterTagState, CmObject> {
public:
  static constexpr const char* className = "ParameterTagState";

  explicit ParameterTagState(int32_t parameter = -1) : tag(parameter) {}
  ParameterTagState(int32_t parameter, float fraction)
      : tag(parameter), value(fraction), hasValue(true)
  {
  }

  int32_t tag;
  float value = 0;       ///< 0 to 1, of the parameter's range
  bool hasValue = false; ///< else the snapshot takes the parameter's value of the moment
};

} // namespace orbi
