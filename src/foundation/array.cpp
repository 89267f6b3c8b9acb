#include "foundation/array.h"

#include "foundation/class_registry.h"

#include <algorithm>
#include <new>

namespace orbi {

CM_REGISTER(CmArray);
CM_REGISTER(CmOrderedArray);

namespace {

/// Goes by index. When the item just met has been taken out, the one that follows stands in its
/// place and is not skipped.
class ArrayIterator final : public CmIterator {
public:
  explicit ArrayIterator(const std::vector<CmObject*>& items) : items_(items) {}
  bool atEnd() const override { return nextIndex() >= items_.size(); }
  CmObject* next() override
  {
    index_ = nextIndex();
    return last_ = index_ < items_.size() ? items_[index_++] : nullptr;
  }

private:
  size_t nextIndex() const
  {
    bool moved = index_ > 0 && (index_ > items_.size() || items_[index_ - 1] != last_);
    return moved ? index_ - 1 : index_;
  }

  const std::vector<CmObject*>& items_;
  size_t index_ = 0;
  CmObject* last_ = nullptr;
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

CmVector::CmVector(const CmVector& other) : CmContainer(other)
{
  for (CmObject* item : other.items_)
    items_.push_back(copied(item));
  count_ = other.count_;
}

bool CmVector::insertBefore(std::vector<CmObject*>::iterator place, CmObject* item)
try {
  items_.insert(place, item);
  ++count_;
  taken(item);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

bool CmVector::removeAt(int32_t index)
{
  if (!inside(items_, index))
    return false;
  CmObject* item = items_[size_t(index)];
  items_.erase(items_.begin() + index);
  --count_;
  dropped(item);
  return true;
}

void CmVector::removeAll()
{
  std::vector<CmObject*> items = std::move(items_);
  items_.clear();
  count_ = 0;
  for (CmObject* item : items)
    dropped(item);
}

CmObject* CmVector::at(int32_t index) const
{
  return inside(items_, index) ? items_[size_t(index)] : nullptr;
}

int32_t CmVector::indexOf(const CmObject* item) const
{
  auto place = std::find(items_.begin(), items_.end(), item);
  return place == items_.end() ? -1 : static_cast<int32_t>(place - items_.begin());
}

CmIterator* CmVector::newIterator() const
{
  return new ArrayIterator(items_);
}

bool CmArray::add(CmObject* item)
{
  return insertBefore(items_.end(), item);
}

bool CmArray::insertAt(int32_t index, CmObject* item)
{
  return index >= 0 && static_cast<size_t>(index) <= items_.size() &&
         insertBefore(items_.begin() + index, item);
}

CmObject* CmArray::find(const CmObject* key) const
{
  for (CmObject* item : items_)
    if (item && item->isEqual(key))
      return item;
  return nullptr;
}

void CmArray::sort()
{
  std::stable_sort(items_.begin(), items_.end(), comesBefore);
}

bool CmOrderedArray::add(CmObject* item)
{
  return item &&
         insertBefore(std::upper_bound(items_.begin(), items_.end(), item, comesBefore), item);
}

CmObject* CmOrderedArray::find(const CmObject* key) const
{
  if (!key)
    return nullptr;
  auto place = std::lower_bound(items_.begin(), items_.end(), key, comesBefore);
  return place != items_.end() && (*place)->compare(key) == 0 ? *place : nullptr;
}

} // namespace orbi
