#pragma once

#include "foundation/container.h"

#include <vector>

namespace orbi {

/// What the arrays have in common: all but where an item goes and how one is found.
class CmVector : public CmContainer {
public:
  bool remove(CmObject* item) override { return removeAt(indexOf(item)); }
  bool removeAt(int32_t index) override;
  void removeAll() override;
  CmObject* at(int32_t index) const override;
  int32_t indexOf(const CmObject* item) const override;
  CmIterator* newIterator() const override;

protected:
  explicit CmVector(CmOwnership ownership) { ownership_ = ownership; }
  CmVector(const CmVector& other);

  bool insertBefore(std::vector<CmObject*>::iterator place, CmObject* item); ///< false: no memory

  std::vector<CmObject*> items_;
};

/// Growing array.
class CmArray final : public CmClass<CmArray, CmVector> {
public:
  static constexpr const char* className = "CmArray";

  explicit CmArray(CmOwnership ownership = CmOwnership::none) : CmClass(ownership) {}
  ~CmArray() override { removeAll(); }

  bool add(CmObject* item) override;
  bool insertAt(int32_t index, CmObject* item) override;
  CmObject* find(const CmObject* key) const override;

  void sort(); ///< by compare, stable

  // Plain walking by those who know that it is an array
  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }
};

/// Array in the order of compare, with binary search. Equal items keep their order of arrival.
class CmOrderedArray final : public CmClass<CmOrderedArray, CmVector> {
public:
  static constexpr const char* className = "CmOrderedArray";

  explicit CmOrderedArray(CmOwnership ownership = CmOwnership::none) : CmClass(ownership) {}
  ~CmOrderedArray() override { removeAll(); }

  bool add(CmObject* item) override;
  bool insertAt(int32_t, CmObject* item) override { return add(item); }
  CmObject* find(const CmObject* key) const override; ///< the first that compares as 0
};

} // namespace orbi
