#pragma once

#include "ui/values/value.h"

namespace orbi {

/// Whole number in a range. Typed texts may calculate: "2*" doubles it.
class UIntValue : public CmClass<UIntValue, UValue> {
public:
  static constexpr const char* className = "UIntValue";

  explicit UIntValue(int32_t value = 0, int32_t min = 0, int32_t max = INT32_MAX);

  void setValue(int32_t value) override;
  int32_t getValue() const override { return value_; }
  int32_t getMin() const override { return min_; }
  void setMin(int32_t min) override; ///< takes a lower maximum and a lower value up with it
  int32_t getMax() const override { return max_; }
  void setMax(int32_t max) override;           ///< takes a higher value down with it
  void setNormalized(float fraction) override; ///< the nearest whole number
  void getString(CmString& text) const override;
  void setTextBuffer(const char* text, bool notifyTarget) override;

private:
  void rangeChanged();

  int32_t value_;
  int32_t min_;
  int32_t max_;
};

/// With a default.
class UIntDefValue : public CmClass<UIntDefValue, UIntValue> {
public:
  static constexpr const char* className = "UIntDefValue";

  explicit UIntDefValue(int32_t value = 0, int32_t min = 0, int32_t max = INT32_MAX)
      : CmClass(value, min, max), default_(UIntValue::getValue())
  {
  }

  bool getDefault(int32_t& value) const override;
  void setDefault(int32_t value) override { default_ = value; }

private:
  int32_t default_;
};

} // namespace orbi
