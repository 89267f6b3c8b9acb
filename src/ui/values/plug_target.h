#pragma once

#include "ui/values/value_interface.h"

namespace orbi {

/// Stands as a value's target for an outside object that is only an interface. The object is
/// borrowed and must be taken off the value before it goes.
class UPlugTarget final : public CmClass<UPlugTarget, CmObject> {
public:
  static constexpr const char* className = "UPlugTarget";

  explicit UPlugTarget(IDependent* object) : object_(object) {}

  IDependent* object() const { return object_; }
  bool hearsEdits() const; ///< whether the object has IEditListener

  void update(CmObject* subject, int32_t code) override;
  int32_t handleMessage(FMessage& message) override; ///< "BeginEdit", "EndEdit"

private:
  IDependent* object_;
};

} // namespace orbi
