#include "foundation/file_type.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(FFileType);

bool FFileType::isEqual(const CmObject* other) const
{
  auto* type = castTo<FFileType>(other);
  return type && typeCode.compare(type->typeCode.text(), TextCompare::bytes) == 0 &&
         extension.compare(type->extension.text(), TextCompare::ignoreCase) == 0;
}

} // namespace orbi
