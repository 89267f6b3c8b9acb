#include "foundation/hash_table.h"

#include "foundation/class_registry.h"

#include <algorithm>
#include <new>

namespace orbi {

CM_REGISTER(CmHashTable);
CM_REGISTER(CmHashDictionary);

namespace {

// Primes, since the addresses that most objects hash by are multiples of powers of two.
constexpr uint32_t bucketCounts[] = {
    11,      23,      47,       97,       197,      397,       797,       1597,     3203,
    6421,    12853,   25717,    51437,    102877,   205759,    411527,    823117,   1646237,
    3292489, 6584983, 13169977, 26339969, 52679969, 105359939, 210719881, 421439783};

} // namespace

/// Goes by bucket and place, which hold in whatever shape the table is when it is asked.
class CmHashTable::Walker final : public CmIterator {
public:
  explicit Walker(const CmHashTable& table) : table_(table) {}
  bool atEnd() const override
  {
    settle();
    return bucket_ >= table_.buckets_.size();
  }
  CmObject* next() override
  {
    return last_ = atEnd() ? nullptr : table_.buckets_[bucket_][place_++];
  }

private:
  void settle() const
  {
    const auto& buckets = table_.buckets_;
    bool lastWasRemoved =
        place_ > 0 && bucket_ < buckets.size() &&
        (place_ > buckets[bucket_].size() || buckets[bucket_][place_ - 1] != last_);
    if (lastWasRemoved) {
      --place_;
      last_ =
          place_ > 0 && place_ <= buckets[bucket_].size() ? buckets[bucket_][place_ - 1] : nullptr;
    }
    while (bucket_ < buckets.size() && place_ >= buckets[bucket_].size()) {
      ++bucket_;
      place_ = 0;
    }
  }

  const CmHashTable& table_;
  mutable size_t bucket_ = 0;
  mutable size_t place_ = 0;
  mutable CmObject* last_ = nullptr;
};

CmHashTable::CmHashTable(const CmHashTable& other) : CmClass(other)
{
  for (const Bucket& bucket : other.buckets_)
    for (CmObject* item : bucket)
      if (insert(item))
        copied(item);
}

CmHashTable::Bucket* CmHashTable::bucketOf(const CmObject* key)
{
  return buckets_.empty() ? nullptr : &buckets_[key->hash(bucketCount())];
}

bool CmHashTable::insert(CmObject* item)
try {
  if (count_ >= buckets_.size())
    grow();
  bucketOf(item)->push_back(item);
  ++count_;
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

void CmHashTable::grow()
{
  auto larger = std::upper_bound(std::begin(bucketCounts), std::end(bucketCounts), bucketCount());
  if (larger == std::end(bucketCounts))
    return;
  std::vector<Bucket> grown(*larger);
  for (const Bucket& bucket : buckets_)
    for (CmObject* item : bucket)
      grown[item->hash(*larger)].push_back(item);
  buckets_.swap(grown);
}

bool CmHashTable::add(CmObject* item)
{
  if (!item || !insert(item))
    return false;
  taken(item);
  return true;
}

bool CmHashTable::remove(CmObject* item)
{
  Bucket* bucket = item ? bucketOf(item) : nullptr;
  if (!bucket)
    return false;
  auto place = std::find(bucket->begin(), bucket->end(), item);
  if (place == bucket->end())
    return false;
  bucket->erase(place);
  --count_;
  dropped(item);
  return true;
}

bool CmHashTable::removeAt(int32_t index)
{
  return remove(at(index));
}

void CmHashTable::removeAll()
{
  std::vector<Bucket> buckets;
  buckets.swap(buckets_);
  count_ = 0;
  for (const Bucket& bucket : buckets)
    for (CmObject* item : bucket)
      dropped(item);
}

CmObject* CmHashTable::at(int32_t index) const
{
  if (index < 0)
    return nullptr;
  auto place = static_cast<size_t>(index);
  for (const Bucket& bucket : buckets_) {
    if (place < bucket.size())
      return bucket[place];
    place -= bucket.size();
  }
  return nullptr;
}

CmObject* CmHashTable::find(const CmObject* key) const
{
  if (!key || buckets_.empty())
    return nullptr;
  for (CmObject* item : buckets_[key->hash(bucketCount())])
    if (item->isEqual(key))
      return item;
  return nullptr;
}

CmIterator* CmHashTable::newIterator() const
{
  return new Walker(*this);
}

} // namespace orbi
