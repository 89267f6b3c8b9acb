#pragma once

#include "foundation/array.h"
#include "ui/values/int_value.h"

namespace orbi {

/// Texts that keep themselves in a file, as the list "Strings". Owns CmStrings.
class UStringArray final : public CmClass<UStringArray, CmVector> {
public:
  static constexpr const char* className = "UStringArray";

  UStringArray() : CmClass(CmOwnership::adopts) {}
  UStringArray(const UStringArray&) = default;
  ~UStringArray() override { removeAll(); }

  bool add(CmObject* item) override { return insertBefore(items_.end(), item); }
  bool insertAt(int32_t index, CmObject* item) override;
  CmObject* find(const CmObject* key) const override;

  bool addText(std::string_view text);
  const CmString* textAt(int32_t index) const; ///< null outside

  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;
};

/// Whole number that selects a text: the one at value - minimum. An empty text outside the list.
class UStringListValue : public CmClass<UStringListValue, UIntDefValue> {
public:
  static constexpr const char* className = "UStringListValue";

  explicit UStringListValue(int32_t min = 0) : CmClass(min, min, min) {}

  int32_t stringCount() const { return static_cast<int32_t>(strings_.count()); }
  const char* stringAt(int32_t index) const;         ///< null outside
  void addString(std::string_view text);             ///< the maximum grows with the list
  bool setStringAt(int32_t index, const char* text); ///< another case is no other text
  void removeLast();                                 ///< and selects the new last one
  void removeAll();                                  ///< the range is -1 to -1 then

  void getString(CmString& text) const override;
  void setTextBuffer(const char* text, bool notifyTarget) override; ///< selects, in any case

  // Persistence: "Strings" besides
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

protected:
  /// Removes those from the index on; a selected one gives way to the new last one.
  void removeFrom(int32_t index);

private:
  UStringArray strings_;
};

/// List of what was used last.
class URecentStringListValue : public CmClass<URecentStringListValue, UStringListValue> {
public:
  static constexpr const char* className = "URecentStringListValue";
  static constexpr int32_t unlimited = INT32_MAX;

  int32_t maxRecent() const { return maxRecent_; }
  void setMaxRecent(int32_t count); ///< removes from the end what is too much

  // Persistence: "Max Recent" besides
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

private:
  int32_t maxRecent_ = unlimited;
};

} // namespace orbi
