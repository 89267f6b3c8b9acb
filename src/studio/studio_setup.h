#pragma once

#include "foundation/array.h"
#include "foundation/string.h"

namespace orbi {

class PDevice;

/// A device that the user wants to have, whether it is there or not. "Category" and "Name".
class PStudioSetupItem final : public CmClass<PStudioSetupItem, CmObject> {
public:
  static constexpr const char* className = "PStudioSetupItem";
  static constexpr const char* deviceCategory = "Device Class"; ///< the name is the class's

  PStudioSetupItem() = default;
  PStudioSetupItem(std::string_view itemCategory, std::string_view itemName)
      : category(itemCategory), name(itemName)
  {
  }

  bool matches(const PDevice& device) const; ///< is of that class, or was made as that component

  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override; ///< false without both

  CmString category;
  CmString name;
};

/// The devices of a studio, by their classes.
class PStudioSetup final : public CmClass<PStudioSetup, CmObject> {
public:
  static constexpr const char* className = "PStudioSetup";

  CmArray& items() { return items_; } ///< PStudioSetupItem, owned
  const CmArray& items() const { return items_; }

  /// On a stream a list of the class names. What was read before a fault is kept.
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;
  bool storeAttributes(FAttributes& attributes) const override; ///< "Items"
  bool loadAttributes(const FAttributes& attributes) override;

private:
  CmArray items_{CmOwnership::adopts};
};

} // namespace orbi
