#pragma once

#include "foundation/array.h"
#include "foundation/attribute_list.h"
#include "foundation/attribute_table.h"
#include "foundation/ref.h"

#include <string_view>

namespace orbi {

/// The attribute container as others see it. Results are 0 for success and 1 for failure.
class IAttributes : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x41545452, 0x49420001, 1};

  virtual int32_t setValue(const char* key, const AttributeVariant& value) = 0;
  virtual int32_t appendValue(const char* key, const AttributeVariant& value) = 0;
  virtual int32_t setBinary(const char* key, const void* data, int64_t size, bool copy) = 0;
  virtual int32_t getValue(const char* key, AttributeVariant& value) const = 0;
  virtual int32_t nextValue(const char* key, AttributeVariant& value) = 0;
  virtual int32_t countValues(const char* key) const = 0; ///< elements of a list, else 0
  virtual int32_t rewindList(const char* key) = 0;
  virtual int32_t rewindAllLists() = 0; ///< in nested containers, too
  virtual int32_t getBinary(const char* key, void* buffer, int64_t size) const = 0;
  virtual int64_t getBinarySize(const char* key) const = 0;

protected:
  ~IAttributes() = default;
};

/// An object that stands for another one, which it may have to make first.
class IObjectReference : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x4F424A52, 0x45460001, 1};
  virtual CmObject* resolved() = 0; ///< borrowed, may be null

protected:
  ~IObjectReference() = default;
};

/// The object itself, or the one that it stands for.
CmObject* resolveObject(CmObject* object);

/// Tree of named values through which every persistent object writes and reads itself. Values keep
/// the order in which their keys were first set. One thread at a time.
class FAttributes : public CmClass<FAttributes, CmObject>, public IAttributes {
public:
  static constexpr const char* className = "FAttributes";

  FAttributes() = default;
  FAttributes(const FAttributes& other) : CmClass(other) { assign(other); }
  FAttributes& operator=(const FAttributes& other);

  /// Shares the source's values: from then on both are views of the same ones.
  void assign(const FAttributes& source);
  void copyValues(const FAttributes& source); ///< values of its own, objects shared

  // One object, two interface tables
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }

  // Single values; true on success. Setting an existing key overwrites in place
  bool setInt(const char* key, int64_t value);
  bool setDouble(const char* key, double value);
  bool setString(const char* key, const char* text, bool borrow = false);
  bool setObject(const char* key, CmObject* object, ObjectMode mode);

  bool getInt(const char* key, int64_t& value) const; ///< doubles and texts convert; else unchanged
  int64_t getInt(const char* key) const;              ///< 0 when absent
  bool getDouble(const char* key, double& value) const; ///< integers and texts convert
  double getDouble(const char* key) const;
  const char* getString(const char* key) const; ///< null when absent or no text
  CmObject* getObject(const char* key) const;   ///< borrowed and resolved; null when absent
  CmObject* getObject(const char* key, const char* classWanted) const; ///< null on another class
  template <class T>
  T* getObject(const char* key) const
  {
    return castTo<T>(getObject(key));
  }

  // Lists; false when the key holds something else
  bool appendInt(const char* key, int64_t value);
  bool appendDouble(const char* key, double value);
  bool appendString(const char* key, const char* text, bool copy = true);
  bool appendObject(const char* key, CmObject* object, bool adopt); ///< containers make an FSubList
  FAttrList* getList(const char* key) const;                        ///< null when it isn't one

  // The values as they stand
  bool has(const char* key) const { return find(key) != nullptr; }
  void reserve(uint32_t count) { values().reserve(count); } ///< room for so many more values
  bool remove(const char* key);
  void removeAll();
  uint32_t count() const { return values_ ? values_->count() : 0; }
  bool isEmpty() const { return count() == 0; }
  bool sharesValues() const
  {
    return values_ && values_->refCount() > 1;
  } ///< with other containers
  FStringIDAttribute* at(uint32_t index) const;
  std::span<FStringIDAttribute* const> all() const ///< until the next change
  {
    return values_ ? values_->all() : std::span<FStringIDAttribute* const>();
  }
  FStringIDAttribute* find(const char* key) const;
  FStringIDAttribute* find(std::string_view key) const;
  FStringIDAttribute& require(const char* key, int userFlags = 0); ///< made when it is missing
  FStringIDAttribute& require(std::string_view key, int userFlags = 0);
  FStringIDAttribute& require(const Ref<CmString>& key); ///< kept, not copied
  FStringIDAttribute& addNew(const Ref<CmString>& key);  ///< of a key that is known to be missing
  /// Sets one of its values to a text that is likely to stay.
  void placeText(FStringIDAttribute& value, std::string_view text)
  {
    values().placeText(value, text);
  }

  /// The first container on the path "key" or "outer|inner", by depth; null for none.
  FAttributes* findAttributes(std::string_view search) const;

  // The interface
  int32_t setValue(const char* key, const AttributeVariant& value) override;
  int32_t appendValue(const char* key, const AttributeVariant& value) override;
  int32_t setBinary(const char* key, const void* data, int64_t size, bool copy) override;
  int32_t getValue(const char* key, AttributeVariant& value) const override;
  int32_t nextValue(const char* key, AttributeVariant& value) override;
  int32_t countValues(const char* key) const override;
  int32_t rewindList(const char* key) override;
  int32_t rewindAllLists() override;
  int32_t getBinary(const char* key, void* buffer, int64_t size) const override;
  int64_t getBinarySize(const char* key) const override;

  // As an object: a 32-bit count, then key and value of each
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

private:
  template <class List>
  List* listFor(const char* key, bool flag);
  AttributeTable& values() const;

  // Made on the first write, or by the first who wants to share it.
  mutable Ref<AttributeTable> values_;
};

} // namespace orbi
