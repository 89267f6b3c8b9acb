#pragma once

#include "foundation/ref.h"
#include "foundation/string.h"

namespace orbi {

/// Bits of an attribute's kind word.
enum AttributeKind : uint16_t {
  attributeInt = 0x001,    ///< 64-bit signed integer
  attributeObject = 0x002, ///< CmObject
  attributeDouble = 0x004,
  attributeText = 0x008,
  attributeBorrowedText = 0x010, ///< with text: a char pointer of somebody else's
  attributeShared = 0x010,       ///< with object: retained on assignment, released on clearing
  attributeAdopted = 0x020,      ///< with object: the reference was handed over
  attributeUser0 = 0x040,        ///< given by the creator, survives a change of value; no export
  attributeUser1 = 0x080,        ///< given by the creator, survives a change of value
  attributeInterface = 0x100,    ///< foreign interface pointer instead of a CmObject
  attributeNoExport = 0x200,

  /// What both file writers look at: they write a value whose masked kind is exactly 1, 2, 4 or 8,
  /// so one with attributeInterface or attributeNoExport is passed over silently.
  attributePersistentMask = 0x30F
};

/// What an attribute does with the reference to an object that it is given.
enum class ObjectMode { borrowed = 0, adopted = 1, shared = 2 };

/// One value of any kind. Subclasses add the key.
class FAttributeValue : public CmClass<FAttributeValue, CmObject> {
public:
  static constexpr const char* className = "FAttributeValue";

  /// userFlags: bits 0 and 1 become attributeUser0 and attributeUser1.
  explicit FAttributeValue(int userFlags = 0);
  FAttributeValue(const FAttributeValue& other); ///< own text, objects shared
  ~FAttributeValue() override { clear(); }
  FAttributeValue& operator=(const FAttributeValue& other);

  uint16_t kind() const { return kind_; }
  uint16_t persistentKind() const { return kind_ & attributePersistentMask; }
  void setNoExport() { kind_ |= attributeNoExport; }
  void setUserFlags(int userFlags); ///< as at creation

  // Assigning releases what was there
  void setInt(int64_t value)
  {
    clear();
    value_.integer = value;
    kind_ |= attributeInt;
  }
  void setDouble(double value)
  {
    clear();
    value_.number = value;
    kind_ |= attributeDouble;
  }
  void setText(const char* text, bool borrow = false);
  void setText(std::string_view text);  ///< a copy
  void setPlacedText(const char* text); ///< that lives as long as this, see AttributeTable
  void setObject(CmObject* object, ObjectMode mode); ///< the object that is there already: nothing
  void setInterface(FUnknown* interface);            ///< takes over a reference
  void clear()
  {
    if (is(attributeInterface | attributeText | attributeObject))
      letGo();
    value_.integer = 0;
    textIsPlaced_ = false;
    kind_ &= attributeUser0 | attributeUser1;
  }

  // Reading converts: numbers from texts, nothing from a number of the other sort
  int64_t asInt() const { return is(attributeInt) ? value_.integer : intOfText(); }
  double asDouble() const { return is(attributeDouble) ? value_.number : doubleOfText(); }
  const char* asText() const ///< null unless a text or a CmString object
  {
    return is(attributeText) ? value_.text : textOfObject();
  }
  CmObject* asObject() const;    ///< borrowed, null for other kinds
  FUnknown* asInterface() const; ///< borrowed, null for other kinds

  // On a stream: the kind word, then the value; objects by class name
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;

private:
  bool is(uint16_t bit) const { return (kind_ & bit) != 0; }
  bool hasOwnText() const
  {
    return is(attributeText) && !is(attributeBorrowedText) && !textIsPlaced_;
  }
  void letGo();
  int64_t intOfText() const;
  double doubleOfText() const;
  const char* textOfObject() const;
  bool readObject(FStream& stream);
  bool writeObject(FStream& stream) const;

  uint16_t kind_; // first, as both fit behind the reference count
  bool textIsPlaced_ = false;
  union {
    int64_t integer;
    double number;
    const char* text; ///< new[] unless it is borrowed or placed
    CmObject* object;
    FUnknown* interface;
  } value_;
};

/// Value under an integer key; ordered as unsigned.
class FIntIDAttribute final : public CmClass<FIntIDAttribute, FAttributeValue> {
public:
  static constexpr const char* className = "FIntIDAttribute";

  explicit FIntIDAttribute(uint32_t key = 0, int userFlags = 0) : CmClass(userFlags), key_(key) {}

  uint32_t key() const { return key_; }
  bool isEqual(const CmObject* other) const override;
  int compare(const CmObject* other) const override;

private:
  uint32_t key_;
};

/// Value under a text key, which never changes and may be common to many values.
class FStringIDAttribute final : public CmClass<FStringIDAttribute, FAttributeValue> {
public:
  static constexpr const char* className = "FStringIDAttribute";

  explicit FStringIDAttribute(std::string_view key = {}, int userFlags = 0)
      : FStringIDAttribute(make<CmString>(key), userFlags)
  {
  }
  explicit FStringIDAttribute(Ref<CmString> key, int userFlags = 0)
      : CmClass(userFlags), key_(std::move(key))
  {
  }

  const CmString& key() const { return *key_; }
  bool isEqual(const CmObject* other) const override;
  int compare(const CmObject* other) const override;

private:
  Ref<CmString> key_;
};

} // namespace orbi
