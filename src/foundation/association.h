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
  CmAssociation& operator=(const CmAssociation&) = delete;
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

/// What the dictionaries add to the container that holds their associations.
template <class Self, class Base>
class CmDictionaryOver : public CmClass<Self, Base> {
public:
  using CmClass<Self, Base>::CmClass;

  /// References to both are added. A key that is there keeps its place; a null key is refused.
  void setValue(CmObject* key, CmObject* value)
  {
    if (auto* present = associationOf(key))
      present->setValue(value);
    else if (key)
      this->add(new CmAssociation(key, value));
  }
  CmObject* valueOf(const CmObject* key) const ///< null for an unknown key
  {
    auto* association = associationOf(key);
    return association ? association->value() : nullptr;
  }
  bool removeKey(const CmObject* key)
  {
    auto* association = associationOf(key);
    return association && this->remove(association);
  }

private:
  CmAssociation* associationOf(const CmObject* key) const
  {
    return key ? castTo<CmAssociation>(this->find(key)) : nullptr;
  }
};

/// Dictionary over a balanced tree.
class CmBTreeDictionary final : public CmDictionaryOver<CmBTreeDictionary, CmBTree> {
public:
  static constexpr const char* className = "CmBTreeDictionary";

  explicit CmBTreeDictionary(int order = 3) : CmDictionaryOver(order, CmOwnership::adopts) {}
};

} // namespace orbi
