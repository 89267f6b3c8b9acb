#include "foundation/bit_set.h"

#include "foundation/class_registry.h"
#include "foundation/stream.h"

#include <algorithm>
#include <bit>
#include <new>

namespace orbi {

CM_REGISTER(CmBitSet);

bool CmBitSet::set(uint32_t index)
try {
  size_t word = index / wordBits;
  if (word >= words_.size())
    words_.resize(word + 1);
  words_[word] |= 1u << (index % wordBits);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

void CmBitSet::reset(uint32_t index)
{
  size_t word = index / wordBits;
  if (word >= words_.size())
    return;
  words_[word] &= ~(1u << (index % wordBits));
  trim();
}

bool CmBitSet::test(uint32_t index) const
{
  size_t word = index / wordBits;
  return word < words_.size() && (words_[word] >> (index % wordBits) & 1) != 0;
}

uint32_t CmBitSet::count() const
{
  uint32_t bits = 0;
  for (uint32_t word : words_)
    bits += static_cast<uint32_t>(std::popcount(word));
  return bits;
}

int64_t CmBitSet::next(uint32_t from) const
{
  uint32_t skipped = from % wordBits;
  for (size_t word = from / wordBits; word < words_.size(); ++word, skipped = 0)
    if (uint32_t rest = words_[word] >> skipped << skipped)
      return static_cast<int64_t>(word) * wordBits + std::countr_zero(rest);
  return -1;
}

void CmBitSet::unite(const CmBitSet& other)
{
  if (other.words_.size() > words_.size())
    words_.resize(other.words_.size());
  for (size_t word = 0; word < other.words_.size(); ++word)
    words_[word] |= other.words_[word];
}

void CmBitSet::intersect(const CmBitSet& other)
{
  words_.resize(std::min(words_.size(), other.words_.size()));
  for (size_t word = 0; word < words_.size(); ++word)
    words_[word] &= other.words_[word];
  trim();
}

void CmBitSet::subtract(const CmBitSet& other)
{
  for (size_t word = 0; word < std::min(words_.size(), other.words_.size()); ++word)
    words_[word] &= ~other.words_[word];
  trim();
}

void CmBitSet::trim()
{
  while (!words_.empty() && words_.back() == 0)
    words_.pop_back();
}

bool CmBitSet::isEqual(const CmObject* other) const
{
  auto* set = castTo<CmBitSet>(other);
  return set && set->words_ == words_;
}

uint32_t CmBitSet::hash(uint32_t tableSize) const
{
  uint32_t sum = 2166136261u;
  for (uint32_t word : words_)
    sum = (sum ^ word) * 16777619u;
  return tableSize ? sum % tableSize : 0;
}

bool CmBitSet::read(FStream& stream)
{
  uint32_t count = 0;
  std::vector<uint32_t> words;
  if (!stream.readUint32(count) || count > UINT32_MAX / wordBits + 1)
    return false;
  // Word by word, so that a count that lies costs no more memory than the stream has bytes.
  for (uint32_t word = 0; count > 0; --count) {
    if (!stream.readUint32(word))
      return false;
    words.push_back(word);
  }
  words_.swap(words);
  trim();
  return true;
}

bool CmBitSet::write(FStream& stream) const
{
  return stream.writeUint32(static_cast<uint32_t>(words_.size())) &&
         stream.writeArray(words_.data(), static_cast<int64_t>(words_.size()));
}

} // namespace orbi
