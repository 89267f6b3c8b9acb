#pragma once

#include "foundation/string.h"

namespace orbi {

/// Saved description of a port, by which it is found again under another identifier.
class PPortDescriptor final : public CmClass<PPortDescriptor, CmObject> {
public:
  static constexpr const char* className = "PPortDescriptor";

  bool storeAttributes(FAttributes& attributes) const override; ///< "ID" always, the others if set
  bool loadAttributes(const FAttributes& attributes) override;  ///< false without "ID"

  CmString id;
  CmString type;
  CmString subtype;
  CmString systemName;
  CmString userName;
  CmString role;
};

/// Another port that takes the place of one by the user's choice.
class PPortIDMapping final : public CmClass<PPortIDMapping, CmObject> {
public:
  static constexpr const char* className = "PPortIDMapping";

  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override; ///< false unless both are there

  CmString sourceID;
  CmString destID;
};

} // namespace orbi
