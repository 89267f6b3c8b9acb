#pragma once

#include "foundation/association.h"
#include "foundation/linked_list.h"

namespace orbi {

/// Keys and values in order of arrival, found by a linear search: for a handful of them.
class CmDictionary final : public CmDictionaryOver<CmDictionary, CmDLinkedList> {
public:
  static constexpr const char* className = "CmDictionary";

  CmDictionary() : CmDictionaryOver(CmOwnership::adopts) {}
};

} // namespace orbi
