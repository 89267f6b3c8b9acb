#include "foundation/file_type.h"

#include "foundation/class_registry.h"

#include <utility>

namespace orbi {

CM_REGISTER(FFileType);

bool FFileType::isEqual(const CmObject* other) const
{
  auto* type = castTo<FFileType>(other);
  return type && typeCode.compare(type->typeCode.text(), TextCompare::bytes) == 0 &&
         extension.compare(type->extension.text(), TextCompare::ignoreCase) == 0;
}

FFileTypeRecord::FFileTypeRecord(const char* description, const char* typeCode,
                                 const char* extension, const char* mimeType)
    : type(description, typeCode, extension, mimeType), next_(std::exchange(first_, this))
{
}

FFileTypeRecord* FFileTypeRecord::find(const char* extension)
{
  FFileTypeRecord* record = first_;
  while (record && record->type.extension.compare(extension, TextCompare::ignoreCase) != 0)
    record = record->next_;
  return record;
}

} // namespace orbi
