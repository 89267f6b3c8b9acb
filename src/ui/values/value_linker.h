#pragma once

#include "foundation/array.h"
#include "ui/values/value.h"

namespace orbi {

/// Moves any number of values with a master, all by the same fraction of their own ranges.
class UValueLinker final : public CmClass<UValueLinker, CmObject> {
public:
  static constexpr const char* className = "UValueLinker";

  UValueLinker() = default;
  UValueLinker(const UValueLinker&) = delete;
  ~UValueLinker() override;

  UValue* master() const { return master_; }
  void setMaster(UValue* master); ///< borrowed; let go of when it goes. Null for none
  /// Holds a reference, and lets go of a value that goes all the same. One that is in already stays
  /// in once.
  void addValue(UValue* value);
  bool removeValue(UValue* value); ///< it stays as it is; false for none of them

  void update(CmObject* subject, int32_t code) override;

private:
  bool knows(const UValue* value) const;
  void push();

  CmArray linked_{CmOwnership::shares};
  UValue* master_ = nullptr;
};

} // namespace orbi
