#pragma once

#include "ui/values/value_proxy.h"

namespace orbi {

/// Gives a value a second name in the skin.
class UAliasValue final : public CmClass<UAliasValue, UValueProxy> {
public:
  static constexpr const char* className = "UAliasValue";
  using CmClass::CmClass;
};

} // namespace orbi
