#pragma once

#include "foundation/string.h"

namespace orbi {

/// A kind of file: what it is called, its four-character code and its extension without the dot.
class FFileType final : public CmClass<FFileType, CmObject> {
public:
  static constexpr const char* className = "FFileType";

  FFileType() = default;
  FFileType(const char* description, const char* typeCode, const char* extension)
      : description(description), typeCode(typeCode), extension(extension)
  {
  }

  bool isEqual(const CmObject* other) const override; ///< same code and, without case, extension

  CmString description;
  CmString typeCode;
  CmString extension;
};

} // namespace orbi
