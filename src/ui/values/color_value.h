#pragma once

#include "ui/values/int_value.h"

namespace orbi {

/// Colour: the 32 bits of the number, red, green and blue from the third byte down.
class UColorValue : public CmClass<UColorValue, UIntValue> {
public:
  static constexpr const char* className = "UColorValue";

  explicit UColorValue(int32_t value = 0) : CmClass(value, INT32_MIN, INT32_MAX) {}

  void getString(CmString& text) const override; ///< "#FF8000"
  /// Hexadecimal after a #, else decimal. All bits set are no colour and change nothing, as does
  /// what is none of these.
  void setTextBuffer(const char* text, bool notifyTarget) override;
};

} // namespace orbi
