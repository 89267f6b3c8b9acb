#pragma once

#include "foundation/object.h"

#include <vector>

namespace orbi {

/// Set of bits, numbered from 0; grows with the highest one that is set.
class CmBitSet final : public CmClass<CmBitSet, CmObject> {
public:
  static constexpr const char* className = "CmBitSet";

  bool set(uint32_t index); ///< false without memory
  void reset(uint32_t index);
  bool test(uint32_t index) const; ///< false for one that was never set
  void clear() { words_.clear(); }

  uint32_t count() const; ///< bits that are set
  bool isEmpty() const { return count() == 0; }
  int64_t next(uint32_t from = 0) const; ///< the first set bit from there on, -1 for none

  void unite(const CmBitSet& other);
  void intersect(const CmBitSet& other);
  void subtract(const CmBitSet& other);

  bool isEqual(const CmObject* other) const override; ///< the same bits
  uint32_t hash(uint32_t tableSize) const override;
  bool read(FStream& stream) override; ///< 32-bit count of words, then words of 32 bits
  bool write(FStream& stream) const override;

private:
  static constexpr uint32_t wordBits = 32;
  void trim(); ///< no empty word at the end, so that equal sets are equal words

  std::vector<uint32_t> words_;
};

} // namespace orbi
