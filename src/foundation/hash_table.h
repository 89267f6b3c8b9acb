#pragma once

#include "foundation/association.h"

#include <vector>

namespace orbi {

/// Array of buckets, by hash and then isEqual. Grows with its items, so that a bucket holds about
/// one. Equal items are kept in order of arrival. An index counts through the buckets; it and
/// iterators have no meaning across an addition, but do no harm.
class CmHashTable : public CmClass<CmHashTable, CmContainer> {
public:
  static constexpr const char* className = "CmHashTable";

  explicit CmHashTable(CmOwnership ownership = CmOwnership::none) { ownership_ = ownership; }
  CmHashTable(const CmHashTable& other);
  ~CmHashTable() override { CmHashTable::removeAll(); }

  bool add(CmObject* item) override; ///< null is refused
  bool insertAt(int32_t, CmObject* item) override { return add(item); }
  bool remove(CmObject* item) override;
  bool removeAt(int32_t index) override;
  void removeAll() override;
  CmObject* at(int32_t index) const override;
  CmObject* find(const CmObject* key) const override;
  CmIterator* newIterator() const override;

  uint32_t bucketCount() const { return static_cast<uint32_t>(buckets_.size()); }

private:
  class Walker;
  using Bucket = std::vector<CmObject*>;

  Bucket* bucketOf(const CmObject* key);
  bool insert(CmObject* item);
  void grow();

  std::vector<Bucket> buckets_;
};

/// Dictionary over a hash table.
class CmHashDictionary final : public CmDictionaryOver<CmHashDictionary, CmHashTable> {
public:
  static constexpr const char* className = "CmHashDictionary";

  CmHashDictionary() : CmDictionaryOver(CmOwnership::adopts) {}
};

} // namespace orbi
