#pragma once

#include "foundation/b_tree.h"

namespace orbi {

/// Key and value of a dictionary. Holds one reference to each; equality and order are the key's.
class CmAssociation final : public CmClass<CmAssociation, CmObject> {
public:
  static constexpr const char* className = "CmAssociation";

  CmAssociation() = default;
  CmAssociation(CmObject* key, CmObject* value); ///< adds a reference to each
  CmAssociation(const CmAssociation& other) : CmAssociation(other.key_, other.value_) {}
  ~CmAssociation() override;

  CmObject* key() const { return key_; }
  CmObject* value() const { return value_; }
  void setValue(CmObject* value);

  bool isEqual(const CmObject* other) const override; ///< other: an association, or a key
  int compare(const CmObject* other) const override;
  uint32_t hash(uint32_t tableSize) const override;

private:
  CmObject* key_ = nullptr;
  CmObject* value_ = nullptr;
};

/// Dictionary over a balanced tree.
class CmBTreeDictionary final : public CmClass<CmBTreeDictionary, CmBTree> {
public:
  static constexpr const char* className = "CmBTreeDictionary";

  explicit CmBTreeDictionary(int order = 3) : CmClass(order, CmOwnership::adopts) {}

  void setValue(CmObject* key, CmObject* value); ///< a key that is there keeps its place
  CmObject* valueOf(const CmObject* key) const;  ///< null for an unknown key
  bool removeKey(const CmObject* key);
};

} // namespace orbi
