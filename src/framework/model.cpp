#include "framework/model.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER_ABSTRACT(GModel);

std::vector<const FComponent*> GModel::components() const
{
  std::vector<const FComponent*> found;
  for (const std::string& category : categories_)
    for (int32_t i = 0; const FComponent* component = FComponentRegistry::at(category, i); ++i)
      found.push_back(component);
  return found;
}

} // namespace orbi
