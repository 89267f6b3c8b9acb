#pragma once

#include "foundation/object.h"

namespace orbi {

/// A plain pointer as an object, for lists of these. Nothing is owned.
class FPointer final : public CmClass<FPointer, CmObject> {
public:
  static constexpr const char* className = "FPointer";

  explicit FPointer(void* value = nullptr) : pointer(value) {}

  bool isEqual(const CmObject* other) const override;
  int compare(const CmObject* other) const override; ///< by address
  uint32_t hash(uint32_t tableSize) const override;

  void* pointer;
};

/// An index as an object.
class FIndex final : public CmClass<FIndex, CmObject> {
public:
  static constexpr const char* className = "FIndex";

  explicit FIndex(int32_t value = 0) : index(value) {}

  bool isEqual(const CmObject* other) const override;
  int compare(const CmObject* other) const override;
  uint32_t hash(uint32_t tableSize) const override;
  bool read(FStream& stream) override; ///< 32 bits
  bool write(FStream& stream) const override;

  int32_t index;
};

} // namespace orbi
