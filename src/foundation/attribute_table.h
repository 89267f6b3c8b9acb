#pragma once

#include "foundation/attribute_value.h"
#include "foundation/ref.h"

#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace orbi {

/// The values behind one or several FAttributes, in the order of their arrival. A few are searched
/// one by one; from manyItems on an index by key helps.
///
/// Its values live and die with it: nobody keeps a reference to one.
///
/// Trees of any depth can be let go of: what would nest too deep waits until the outer ones are
/// done with.
class AttributeTable final : public CmObject {
public:
  static constexpr uint32_t manyItems = 16;

  AttributeTable() = default;
  AttributeTable(const AttributeTable&) = delete;
  ~AttributeTable() override { removeAll(); }
  void destroy(uint32_t flags) override;

  FStringIDAttribute* find(std::string_view key) const; ///< as CmString::comparesBytes says
  FStringIDAttribute& add(Ref<CmString> key, int userFlags = 0); ///< of a key that isn't there
  void reserve(uint32_t count);                                  ///< room for so many from now on
  /// As FAttributeValue::setText, for one of its values that is likely to keep the text: short ones
  /// lie together until all values go.
  void placeText(FStringIDAttribute& value, std::string_view text);
  bool remove(FStringIDAttribute* value);
  void removeAll();

  uint32_t count() const { return static_cast<uint32_t>(items_.size()); }
  std::span<FStringIDAttribute* const> all() const { return items_; } ///< until the next change
  FStringIDAttribute* at(uint32_t index) const                        ///< null outside
  {
    return index < items_.size() ? items_[index] : nullptr;
  }

private:
  static constexpr int deepestNest = 32;
  struct Teardown;
  struct Slot {
    uint32_t hash = 0;
    uint32_t place = 0; ///< in the array, from 1; 0 is free
  };

  uint32_t hashOf(std::string_view key) const;
  void makeIndex() const;
  void enterIndex(std::string_view key, uint32_t place) const;

  using Index = std::vector<Slot>;

  /// Values lie in blocks, each twice as large as the former one: made at once, found at once.
  static constexpr uint32_t firstBlock = 4;
  static constexpr uint32_t largestBlock = 256;
  struct alignas(FStringIDAttribute) Place {
    unsigned char bytes[sizeof(FStringIDAttribute)];
  };
  Place* takePlace();

  /// Memory that lives until all values go, each piece in front of the former ones.
  class Memory {
  public:
    Memory() = default;
    Memory(Memory&& other) noexcept : newest_(std::exchange(other.newest_, nullptr)) {}
    Memory& operator=(const Memory&) = delete;
    ~Memory();
    void* add(size_t bytes); ///< as strictly aligned as values want it
    bool isEmpty() const { return !newest_; }

  private:
    struct Piece {
      Piece* former;
    };
    static_assert(alignof(Place) <= sizeof(Piece) && sizeof(Piece) % alignof(Place) == 0);
    Piece* newest_ = nullptr;
  };
  void addBlock(uint32_t room);

  static constexpr size_t longestPlacedText = 64;
  static constexpr size_t textsAtOnce = 4;

  std::vector<FStringIDAttribute*> items_;
  Memory memory_;
  Place* block_ = nullptr; ///< the last one
  uint32_t blockRoom_ = 0; ///< its places
  uint32_t blockUsed_ = 0;
  char* textRoom_ = nullptr;
  uint32_t textLeft_ = 0;                ///< bytes
  std::vector<Place*> freed_;            ///< of values that were removed
  mutable std::unique_ptr<Index> index_; ///< made when it is needed; its size is a power of two
  mutable bool indexIsOfBytes_ = true;   ///< otherwise without case
  AttributeTable* nextWaiting_ = nullptr;
};

} // namespace orbi
