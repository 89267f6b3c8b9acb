#pragma once

#include "foundation/array.h"
#include "foundation/attribute_value.h"
#include "foundation/buffer.h"

#include <vector>

namespace orbi {

class FAttributes;

/// Tags of AttributeVariant. They are not the numbers of the kind word.
enum AttributeTag : uint16_t {
  tagNone = 0,
  tagInt = 1,
  tagDouble = 2,
  tagText = 4,
  tagObject = 8, ///< interface pointer
  tagOwned = 16  ///< with text: a new[] copy; with object: one reference, for the receiver
};

/// A tagged value as it crosses the attribute interface.
struct AttributeVariant {
  AttributeVariant() = default;
  explicit AttributeVariant(int64_t value) : tag(tagInt) { integer = value; }
  explicit AttributeVariant(double value) : tag(tagDouble) { number = value; }
  explicit AttributeVariant(const char* value) : tag(tagText) { text = value; }
  explicit AttributeVariant(FUnknown* value) : tag(tagObject) { object = value; }

  void clear(); ///< frees what is owned

  uint16_t tag = tagNone;
  union {
    int64_t integer = 0;
    double number;
    const char* text;
    FUnknown* object;
  };
};

/// A list value under a key, with a read cursor. On a stream a 32-bit count and the elements,
/// objects as attribute values; a list that can't be read to its end keeps what came before.
class FAttrList : public CmClass<FAttrList, CmObject> {
public:
  static constexpr const char* className = "FAttrList";

  virtual uint32_t count() const = 0;
  virtual AttributeVariant valueAt(uint32_t index) const = 0; ///< borrowed; empty outside

  void rewindList() { cursor_ = 0; }
  bool next(AttributeVariant& value); ///< at the end false, and the cursor is back at the start

protected:
  FAttrList() = default;

private:
  uint32_t cursor_ = 0;
};

class FIntList final : public CmClass<FIntList, FAttrList> {
public:
  static constexpr const char* className = "FIntList";
  uint32_t count() const override { return static_cast<uint32_t>(values.size()); }
  AttributeVariant valueAt(uint32_t index) const override;
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;

  std::vector<int64_t> values;
};

class FFloatList final : public CmClass<FFloatList, FAttrList> {
public:
  static constexpr const char* className = "FFloatList";
  uint32_t count() const override { return static_cast<uint32_t>(values.size()); }
  AttributeVariant valueAt(uint32_t index) const override;
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;

  std::vector<double> values;
};

/// Texts, either copies of its own or borrowed ones, as chosen at creation.
class FStringList final : public CmClass<FStringList, FAttrList> {
public:
  static constexpr const char* className = "FStringList";
  explicit FStringList(bool ownsTexts = true) : ownsTexts_(ownsTexts) {}
  FStringList(const FStringList& other);
  ~FStringList() override;

  bool ownsTexts() const { return ownsTexts_; }
  bool append(const char* text, bool copy); ///< false with the other setting than the list's
  uint32_t count() const override { return static_cast<uint32_t>(texts_.size()); }
  AttributeVariant valueAt(uint32_t index) const override;
  bool read(FStream& stream) override; ///< the texts are its own afterwards
  bool write(FStream& stream) const override;

private:
  void removeAll();

  std::vector<const char*> texts_;
  bool ownsTexts_;
};

/// Objects, owned (one reference each) or borrowed, as chosen at creation.
class FObjectList final : public CmClass<FObjectList, FAttrList> {
public:
  static constexpr const char* className = "FObjectList";
  explicit FObjectList(bool ownsItems = true) : items_(ownership(ownsItems)) {}

  bool ownsItems() const { return items_.ownership() == CmOwnership::adopts; }
  bool append(CmObject* object, bool adopt); ///< false with the other setting than the list's
  CmObject* at(uint32_t index) const { return items_.at(static_cast<int32_t>(index)); }
  uint32_t count() const override { return items_.count(); }
  AttributeVariant valueAt(uint32_t index) const override; ///< a CmString as an owned text
  bool read(FStream& stream) override;                     ///< the objects are its own afterwards
  bool write(FStream& stream) const override;

private:
  static CmOwnership ownership(bool owns) { return owns ? CmOwnership::adopts : CmOwnership::none; }

  CmArray items_;
};

/// Containers, always owned.
class FSubList final : public CmClass<FSubList, FAttrList> {
public:
  static constexpr const char* className = "FSubList";

  bool append(FAttributes* attributes); ///< takes over the reference
  FAttributes* at(uint32_t index) const;
  uint32_t count() const override { return items_.count(); }
  AttributeVariant valueAt(uint32_t index) const override;
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;

private:
  CmArray items_{CmOwnership::adopts};
};

/// Binary value over the caller's block, which has to outlive it, or one read from a stream.
class FAttrBuffer final : public CmClass<FAttrBuffer, CmObject> {
public:
  static constexpr const char* className = "FAttrBuffer";
  FAttrBuffer() = default;
  FAttrBuffer(const void* block, int64_t bytes) : data(block), size(bytes) {}
  FAttrBuffer(const FAttrBuffer& other);
  FAttrBuffer& operator=(const FAttrBuffer&) = delete;

  bool read(FStream& stream) override; ///< 32-bit size and the bytes, which are its own then
  bool write(FStream& stream) const override;

  const void* data = nullptr;
  int64_t size = 0;

private:
  FBuffer own_;
};

} // namespace orbi
