#pragma once

#include "ui/values/value.h"

namespace orbi {

/// Text. Its whole number is that of its base class.
class UStringValue : public CmClass<UStringValue, UValue> {
public:
  static constexpr const char* className = "UStringValue";

  explicit UStringValue(std::string_view text = {});

  const CmString& string() const { return string_; }
  void setString(std::string_view text); ///< dependents are told of a change, the target isn't

  void copyValue(const UValue& other) override; ///< the text of any value
  void getString(CmString& text) const override { text.set(string_.view()); }
  void setTextBuffer(const char* text, bool notifyTarget) override;

  // Persistence: "String"; as a text on a stream
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

private:
  CmString string_;
};

} // namespace orbi
