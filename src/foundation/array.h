#pragma once

#include "foundation/container.h"

#include <vector>

namespace orbi {

/// Growing array.
class CmArray final : public CmClass<CmArray, CmContainer> {
public:
  static constexpr const char* className = "CmArray";

  explicit CmArray(CmOwnership ownership = CmOwnership::none) { ownership_ = ownership; }
  CmArray(const CmArray& other);
  ~CmArray() override { removeAll(); }

  bool add(CmObject* item) override;
  bool insertAt(int32_t index, CmObject* item) override;
  bool remove(CmObject* item) override;
  bool removeAt(int32_t index) override;
  void removeAll() override;
  CmObject* at(int32_t index) const override;
  CmObject* find(const CmObject* key) const override;
  int32_t indexOf(const CmObject* item) const override;
  CmIterator* newIterator() const override;

  void sort(); ///< by compare, stable

  // Plain walking by those who know that it is an array
  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }

private:
  std::vector<CmObject*> items_;
};

/// Array in the order of compare, with binary search. Equal items keep their order of arrival.
class CmOrderedArray final : public CmClass<CmOrderedArray, CmContainer> {
public:
  static constexpr const char* className = "CmOrderedArray";

  explicit CmOrderedArray(CmOwnership ownership = CmOwnership::none) { ownership_ = ownership; }
  CmOrderedArray(const CmOrderedArray& other);
  ~CmOrderedArray() override { removeAll(); }

  bool add(CmObject* item) override;
  bool insertAt(int32_t, CmObject* item) override { return add(item); }
  bool remove(CmObject* item) override;
  bool removeAt(int32_t index) override;
  void removeAll() override;
  CmObject* at(int32_t index) const override;
  CmObject* find(const CmObject* key) const override; ///< the first that compares as 0
  int32_t indexOf(const CmObject* item) const override;
  CmIterator* newIterator() const override;

private:
  std::vector<CmObject*> items_;
};

} // namespace orbi
