#pragma once

#include "foundation/component_registry.h"

#include <string>
#include <vector>

namespace orbi {

/// What a program is about, apart from its windows. Knows from which categories of components its
/// parts are made. Main thread.
class GModel : public CmClass<GModel, CmObject> {
public:
  static constexpr const char* className = "GModel";

  GModel() = default;
  GModel(const GModel&) = delete;

  /// The components of the model's categories, borrowed.
  std::vector<const FComponent*> components() const;

protected:
  void addCategory(std::string_view name) { categories_.emplace_back(name); }

private:
  std::vector<std::string> categories_;
};

} // namespace orbi
