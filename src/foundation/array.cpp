#include "foundation/array.h"

#include "foundation/class_registry.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(CmArray);
CM_REGISTER(CmOrderedArray);

namespace {

class ArrayIterator final : public CmIterator {
public:
  explicit ArrayIterator(const std::vector<CmObject*>& items) : items_(items) {}
  bool atEnd() const override { return index_ >= items_.size(); }
  CmObject* next() override { return atEnd() ? nullptr : items_[index_++]; }

private:
  const std::vector<CmObject*>& items_;
  size_t index_ = 0;
};

bool inside(const std::vector<CmObject*>& items, int32_t index)
{
  return index >= 0 && static_cast<size_t>(index) < items.size();
}

bool comesBefore(const CmObject* a, const CmObject* b)
{
  return a->compare(b) < 0;
}

} // namespace

CmArray::CmArray(const CmArray& other) : CmClass(other)
{
  for (CmObject* item : other.items_)
    items_.push_back(copied(item));
  count_ = other.count_;
}

bool CmArray::add(CmObject* item)
{
  return insertAt(static_cast<int32_t>(count_), item);
}

bool CmArray::insertAt(int32_t index, CmObject* item)
{
  if (index < 0 || static_cast<size_t>(index) > items_.size())
    return false;
  items_.insert(items_.begin() + index, item);
  ++count_;
  taken(item);
  return true;
}

bool CmArray::remove(CmObject* item)
{
  return removeAt(indexOf(item));
}

bool CmArray::removeAt(int32_t index)
{
  if (!inside(items_, index))
    return false;
  CmObject* item = items_[size_t(index)];
  items_.erase(items_.begin() + index);
  --count_;
  dropped(item);
  return true;
}

void CmArray::removeAll()
{
  std::vector<CmObject*> items = std::move(items_);
  items_.clear();
  count_ = 0;
  for (CmObject* item : items)
    dropped(item);
}

CmObject* CmArray::at(int32_t index) const
{
  return inside(items_, index) ? items_[size_t(index)] : nullptr;
}

CmObject* CmArray::find(const CmObject* key) const
{
  for (CmObject* item : items_)
    if (item && item->isEqual(key))
      return item;
  return nullptr;
}

CmIterator* CmArray::newIterator() const
{
  return new ArrayIterator(items_);
}

void CmArray::sort()
{
  std::stable_sort(items_.begin(), items_.end(), comesBefore);
}

CmOrderedArray::CmOrderedArray(const CmOrderedArray& other) : CmClass(other)
{
  for (CmObject* item : other.items_)
    items_.push_back(copied(item));
  count_ = other.count_;
}

bool CmOrderedArray::add(CmObject* item)
{
  if (!item)
    return false;
  items_.insert(std::upper_bound(items_.begin(), items_.end(), item, comesBefore), item);
  ++count_;
  taken(item);
  return true;
}

bool CmOrderedArray::remove(CmObject* item)
{
  return removeAt(indexOf(item));
}

bool CmOrderedArray::removeAt(int32_t index)
{
  if (!inside(items_, index))
    return false;
  CmObject* item = items_[size_t(index)];
  items_.erase(items_.begin() + index);
  --count_;
  dropped(item);
  return true;
}

void CmOrderedArray::removeAll()
{
  std::vector<CmObject*> items = std::move(items_);
  items_.clear();
  count_ = 0;
  for (CmObject* item : items)
    dropped(item);
}

CmObject* CmOrderedArray::at(int32_t index) const
{
  return inside(items_, index) ? items_[size_t(index)] : nullptr;
}

CmObject* CmOrderedArray::find(const CmObject* key) const
{
  if (!key)
    return nullptr;
  auto place = std::lower_bound(items_.begin(), items_.end(), key, comesBefore);
  return place != items_.end() && (*place)->compare(key) == 0 ? *place : nullptr;
}

CmIterator* CmOrderedArray::newIterator() const
{
  return new ArrayIterator(items_);
}

} // namespace orbi
