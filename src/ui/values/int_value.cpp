#include "ui/values/int_value.h"

#include "foundation/class_registry.h"
#include "ui/values/value_numbers.h"

#include <algorithm>
#include <cmath>

namespace orbi {

CM_REGISTER(UIntValue);
CM_REGISTER(UIntDefValue);

UIntValue::UIntValue(int32_t value, int32_t min, int32_t max)
    : value_(std::max(min, std::min(value, max))), min_(min), max_(max)
{
}

void UIntValue::setValue(int32_t value)
{
  value = constrain(value);
  if (value == value_)
    return;
  value_ = value;
  changed(changeNotice);
}

void UIntValue::setMin(int32_t min)
{
  if (min == min_)
    return;
  min_ = min;
  max_ = std::max(max_, min);
  rangeChanged();
}

void UIntValue::setMax(int32_t max)
{
  if (max == max_)
    return;
  max_ = max;
  rangeChanged();
}

void UIntValue::rangeChanged()
{
  if (constrain(value_) != value_)
    setValue(value_);
  else
    changed(changeNotice);
}

void UIntValue::setNormalized(float fraction)
{
  if (!std::isnan(fraction))
    setValue(truncated(std::floor(rangeOf(min_, max_) * fraction + 0.5) + min_));
}

void UIntValue::getString(CmString& text) const
{
  text.set("");
  text.appendNumber(value_);
}

void UIntValue::setTextBuffer(const char* text, bool notifyTarget)
{
  if (std::optional<double> number = typedNumber(text ? text : "", getValue()))
    setIntEx(truncated(*number), notifyTarget);
}

bool UIntDefValue::getDefault(int32_t& value) const
{
  value = default_;
  return true;
}

} // namespace orbi
