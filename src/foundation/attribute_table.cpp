#include "foundation/attribute_table.h"

#include <bit>
#include <utility>

namespace orbi {

/// The tables that a thread is letting go of.
struct AttributeTable::Teardown {
  int depth = 0;
  AttributeTable* waiting = nullptr;

  static thread_local Teardown current;
};

thread_local AttributeTable::Teardown AttributeTable::Teardown::current;

void AttributeTable::destroy(uint32_t flags)
{
  Teardown& teardown = Teardown::current;
  if (teardown.depth >= deepestNest && (flags & 1)) {
    nextWaiting_ = std::exchange(teardown.waiting, this);
    return;
  }
  ++teardown.depth;
  CmObject::destroy(flags);
  while (teardown.depth == 1 && teardown.waiting) {
    AttributeTable* next = teardown.waiting;
    teardown.waiting = next->nextWaiting_;
    next->CmObject::destroy(1);
  }
  --teardown.depth;
}

/// Without case, so that it agrees with either comparison.
uint32_t AttributeTable::hashOf(std::string_view key)
{
  uint32_t sum = 2166136261u;
  for (char c : key)
    sum = (sum ^ static_cast<uint8_t>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c)) * 16777619u;
  return sum ^ sum >> 15;
}

namespace {

bool sameKey(const FStringIDAttribute& value, std::string_view key)
{
  if (value.key().length() != static_cast<int32_t>(key.size()))
    return false;
  return value.key() == key ||
         (!CmString::comparesBytes &&
          value.key().compare(CmString(key).text(), TextCompare::ignoreCase) == 0);
}

} // namespace

FStringIDAttribute* AttributeTable::find(std::string_view key) const
{
  if (items.count() < manyItems) {
    for (CmObject* item : items)
      if (sameKey(*static_cast<FStringIDAttribute*>(item), key))
        return static_cast<FStringIDAttribute*>(item);
    return nullptr;
  }
  if (index_.empty())
    makeIndex();
  const uint32_t hash = hashOf(key);
  const size_t mask = index_.size() - 1;
  for (size_t i = hash & mask; index_[i].place; i = (i + 1) & mask) {
    auto* value =
        static_cast<FStringIDAttribute*>(items.at(static_cast<int32_t>(index_[i].place - 1)));
    if (index_[i].hash == hash && sameKey(*value, key))
      return value;
  }
  return nullptr;
}

void AttributeTable::makeIndex() const
{
  index_.assign(std::bit_ceil(items.count() + 1u) * 4, {});
  uint32_t place = 0;
  for (CmObject* item : items)
    enterIndex(static_cast<FStringIDAttribute*>(item)->key().view(), ++place);
}

void AttributeTable::enterIndex(std::string_view key, uint32_t place) const
{
  const uint32_t hash = hashOf(key);
  const size_t mask = index_.size() - 1;
  size_t i = hash & mask;
  while (index_[i].place)
    i = (i + 1) & mask;
  index_[i] = {hash, place};
}

void AttributeTable::add(FStringIDAttribute* value)
{
  if (!items.add(value) || index_.empty())
    return;
  if (items.count() * size_t(2) > index_.size())
    index_.clear(); // made anew, larger, for the next search
  else
    enterIndex(value->key().view(), items.count());
}

bool AttributeTable::remove(FStringIDAttribute* value)
{
  index_.clear();
  return items.remove(value);
}

void AttributeTable::removeAll()
{
  index_.clear();
  items.removeAll();
}

} // namespace orbi
