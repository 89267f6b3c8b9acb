#include "foundation/attribute_table.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <new>
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

/// Agrees with the comparison that the index was made for.
uint32_t AttributeTable::hashOf(std::string_view key) const
{
  const char toLower = indexIsOfBytes_ ? 0 : 'a' - 'A';
  uint32_t sum = 2166136261u;
  for (char c : key)
    sum = (sum ^ static_cast<uint8_t>(c >= 'A' && c <= 'Z' ? c + toLower : c)) * 16777619u;
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
  if (items_.size() < manyItems) {
    for (FStringIDAttribute* item : items_)
      if (sameKey(*item, key))
        return item;
    return nullptr;
  }
  if (!index_ || indexIsOfBytes_ != CmString::comparesBytes)
    makeIndex();
  const Index& index = *index_;
  const uint32_t hash = hashOf(key);
  const size_t mask = index.size() - 1;
  for (size_t i = hash & mask; index[i].place; i = (i + 1) & mask) {
    FStringIDAttribute* value = items_[index[i].place - 1];
    if (index[i].hash == hash && sameKey(*value, key))
      return value;
  }
  return nullptr;
}

void AttributeTable::makeIndex() const
{
  index_ = std::make_unique<Index>(std::bit_ceil(items_.size()) * 4);
  indexIsOfBytes_ = CmString::comparesBytes;
  uint32_t place = 0;
  for (const FStringIDAttribute* item : items_)
    enterIndex(item->key().view(), ++place);
}

void AttributeTable::enterIndex(std::string_view key, uint32_t place) const
{
  Index& index = *index_;
  const uint32_t hash = hashOf(key);
  const size_t mask = index.size() - 1;
  size_t i = hash & mask;
  while (index[i].place)
    i = (i + 1) & mask;
  index[i] = {hash, place};
}

void AttributeTable::reserve(uint32_t count)
{
  items_.reserve(items_.size() + count);
  if (memory_.isEmpty() && count > 0)
    addBlock(count);
}

void AttributeTable::addBlock(uint32_t room)
{
  block_ = static_cast<Place*>(memory_.add(room * sizeof(Place)));
  blockRoom_ = room;
  blockUsed_ = 0;
}

void* AttributeTable::Memory::add(size_t bytes)
{
  newest_ = new (::operator new(sizeof(Piece) + bytes)) Piece{newest_};
  return newest_ + 1;
}

AttributeTable::Memory::~Memory()
{
  while (newest_)
    ::operator delete(std::exchange(newest_, newest_->former));
}

void AttributeTable::placeText(FStringIDAttribute& value, std::string_view text)
{
  const size_t bytes = text.size() + 1;
  if (bytes > longestPlacedText) {
    value.setText(text);
    return;
  }
  if (bytes > textLeft_) {
    textLeft_ = static_cast<uint32_t>(bytes * textsAtOnce);
    textRoom_ = static_cast<char*>(memory_.add(textLeft_));
  }
  char* placed = textRoom_;
  placed[text.copy(placed, text.size())] = 0;
  textRoom_ += bytes;
  textLeft_ -= static_cast<uint32_t>(bytes);
  value.setPlacedText(placed);
}

AttributeTable::Place* AttributeTable::takePlace()
{
  if (!freed_.empty()) {
    Place* place = freed_.back();
    freed_.pop_back();
    return place;
  }
  if (blockUsed_ == blockRoom_)
    addBlock(blockRoom_ == 0 ? firstBlock : std::min(blockRoom_ * 2, largestBlock));
  return block_ + blockUsed_++;
}

FStringIDAttribute& AttributeTable::add(Ref<CmString> key, int userFlags)
{
  if (items_.capacity() == items_.size())
    items_.reserve(std::max<size_t>(items_.size() * 2, firstBlock));
  auto* value = new (takePlace()) FStringIDAttribute(std::move(key), userFlags);
  items_.push_back(value);
  if (index_) {
    if (items_.size() * 2 > index_->size())
      index_ = nullptr; // made anew, larger, for the next search
    else
      enterIndex(value->key().view(), count());
  }
  return *value;
}

bool AttributeTable::remove(FStringIDAttribute* value)
{
  auto place = std::find(items_.begin(), items_.end(), value);
  if (place == items_.end())
    return false;
  index_ = nullptr;
  items_.erase(place);
  std::destroy_at(value);
  freed_.push_back(reinterpret_cast<Place*>(value));
  return true;
}

void AttributeTable::removeAll()
{
  // Emptied first: what is let go of may look here.
  std::vector<FStringIDAttribute*> items = std::move(items_);
  items_.clear();
  const Memory memory = std::move(memory_);
  freed_.clear();
  blockRoom_ = blockUsed_ = textLeft_ = 0;
  index_ = nullptr;
  for (FStringIDAttribute* item : items)
    std::destroy_at(item);
}

} // namespace orbi
