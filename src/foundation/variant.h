#pragma once

#include "foundation/attribute_value.h"

namespace orbi {

/// One value: an integer, a number with a fraction, a text or an object, of which it holds a
/// reference. Reading as another kind converts where that has a sense and gives 0 or null else.
class CmVariant final : public CmClass<CmVariant, CmObject> {
public:
  static constexpr const char* className = "CmVariant";

  enum class Type { none, integer, number, text, object };

  CmVariant() = default;
  explicit CmVariant(int64_t value) { setInt(value); }
  explicit CmVariant(double value) { setDouble(value); }
  explicit CmVariant(const char* text) { setText(text); }
  explicit CmVariant(CmObject* object) { setObject(object); }

  Type type() const;
  void setInt(int64_t value) { value_.setInt(value); }
  void setDouble(double value) { value_.setDouble(value); }
  void setText(const char* text);   ///< copied; null is the empty text
  void setObject(CmObject* object); ///< adds a reference; null clears
  void clear() { value_.clear(); }

  int64_t asInt() const; ///< a fraction is cut off; what doesn't fit is the nearest that does
  double asDouble() const;
  CmObject* asObject() const { return value_.asObject(); } ///< borrowed
  /// Numbers in the shortest form that reads back as the same one, a CmString object by its text.
  void toText(CmString& text) const;

  // Equal are values of one type with the same contents; otherwise the order of types decides
  bool isEqual(const CmObject* other) const override { return other && compare(other) == 0; }
  int compare(const CmObject* other) const override;
  uint32_t hash(uint32_t tableSize) const override;

  // On a stream as an attribute value; among attributes under "Value", absent without a value
  bool read(FStream& stream) override { return value_.read(stream); }
  bool write(FStream& stream) const override { return value_.write(stream); }
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

private:
  FAttributeValue value_;
};

} // namespace orbi
