#pragma once

#include "foundation/string.h"

namespace orbi {

/// A kind of file: what it is called, its four-character code, its extension without the dot and
/// its MIME type, where it has one.
class FFileType final : public CmClass<FFileType, CmObject> {
public:
  static constexpr const char* className = "FFileType";

  FFileType() = default;
  FFileType(const char* description, const char* typeCode, const char* extension,
            const char* mimeType = "")
      : description(description), typeCode(typeCode), extension(extension), mimeType(mimeType)
  {
  }

  bool isEqual(const CmObject* other) const override; ///< same code and, without case, extension

  CmString description;
  CmString typeCode;
  CmString extension;
  CmString mimeType;
};

/// Static record of a type that the program opens by the name of its files. Main thread.
class FFileTypeRecord {
public:
  FFileTypeRecord(const char* description, const char* typeCode, const char* extension,
                  const char* mimeType);
  FFileTypeRecord(const FFileTypeRecord&) = delete;

  /// By the extension without the dot, in any case; null for none.
  static FFileTypeRecord* find(const char* extension);

  FFileType type;

private:
  static inline constinit FFileTypeRecord* first_ = nullptr;
  FFileTypeRecord* next_;
};

} // namespace orbi
