#include "ui/values/float_value.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/stream.h"
#include "ui/values/value_numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace orbi {

CM_REGISTER(UFloatValue);
CM_REGISTER(UFloatDefValue);
CM_REGISTER_ABSTRACT(UFloatTransform);
CM_REGISTER(UFloatTransformValue);

namespace {

void setNumber(CmString& text, double number, int32_t precision)
{
  char digits[400]; // a double has 309 before the point
  const auto [end, error] =
      std::to_chars(digits, std::end(digits), number, std::chars_format::fixed, precision);
  std::string_view written(digits, static_cast<size_t>(end - digits));
  if (written.find_first_not_of("-0.") == written.npos && written.starts_with('-'))
    written.remove_prefix(1); // what is rounded to nothing has no sign
  text.set(written);
}

bool setLimit(FAttributes& attributes, const char* key, float limit)
{
  const bool isWhole = std::trunc(limit) == limit && std::abs(limit) < 0x1p62f;
  return isWhole ? attributes.setInt(key, static_cast<int64_t>(limit))
                 : attributes.setDouble(key, limit);
}

} // namespace

UFloatValue::UFloatValue(float value, float min, float max) : value_(min), min_(min), max_(max)
{
  if (!std::isnan(value))
    value_ = constrainFloat(value);
  setType(floatType);
}

void UFloatValue::setPrecision(int32_t digits)
{
  digits = std::clamp(digits, 0, finestPrecision);
  if (digits == precision_)
    return;
  precision_ = digits;
  changed(changeNotice);
}

// The number

void UFloatValue::setFloatValue(float value)
{
  value = constrainFloat(value);
  if (std::isnan(value) || value == value_)
    return;
  value_ = value;
  changed(changeNotice);
}

void UFloatValue::setFloatEx(float value, bool notifyTarget)
{
  Ref<UValue> alive = kept();
  setFloatValue(value);
  if (notifyTarget)
    this->notifyTarget();
}

float UFloatValue::constrainFloat(float value) const
{
  if (value > max_)
    value = max_;
  return value < min_ ? min_ : value;
}

int32_t UFloatValue::getValue() const
{
  return truncated(value_);
}

void UFloatValue::stepDown()
{
  if (value_ > min_)
    setFloat(value_ - 1);
}

void UFloatValue::stepUp()
{
  if (value_ < max_)
    setFloat(value_ + 1);
}

// Range

int32_t UFloatValue::getMin() const
{
  return truncated(min_);
}

int32_t UFloatValue::getMax() const
{
  return truncated(max_);
}

void UFloatValue::setMinFloat(float min)
{
  if (!std::isfinite(min) || min == min_)
    return;
  min_ = min;
  max_ = std::max(max_, min);
  rangeChanged();
}

void UFloatValue::setMaxFloat(float max)
{
  if (!std::isfinite(max) || max == max_)
    return;
  max_ = max;
  rangeChanged();
}

void UFloatValue::rangeChanged()
{
  if (constrainFloat(value_) != value_)
    setFloatValue(value_);
  else
    changed(changeNotice);
}

float UFloatValue::atFraction(float fraction) const
{
  if (std::isnan(fraction))
    return fraction;
  return singlePrecision(std::lerp(double(min_), double(max_), double(fraction)));
}

void UFloatValue::setNormalized(float fraction)
{
  setFloatValue(atFraction(fraction));
}

float UFloatValue::getNormalized() const
{
  const double range = double(max_) - min_;
  return range > 0 ? static_cast<float>((double(value_) - min_) / range) : 0.0f;
}

// Text

void UFloatValue::getString(CmString& text) const
{
  setNumber(text, toDisplayed(value_), precision_);
}

void UFloatValue::textFor(float value, CmString& text)
{
  const float present = value_;
  Quiet quiet(*this);
  setFloatValue(value);
  getString(text);
  value_ = present;
}

void UFloatValue::getStringForValue(int32_t value, CmString& text)
{
  textFor(static_cast<float>(value), text);
}

void UFloatValue::getStringForNormalized(float fraction, CmString& text)
{
  textFor(atFraction(fraction), text);
}

void UFloatValue::setTextBuffer(const char* text, bool notifyTarget)
{
  if (std::optional<double> number = typedNumber(text ? text : "", toDisplayed(value_)))
    setFloatEx(singlePrecision(toStored(*number)), notifyTarget);
}

// Persistence

bool UFloatValue::read(FStream& stream)
{
  float value = 0;
  if (!stream.readFloat(value))
    return false;
  setFloatValue(value);
  return true;
}

bool UFloatValue::write(FStream& stream) const
{
  return stream.writeFloat(value_);
}

bool UFloatValue::storeAttributes(FAttributes& attributes) const
{
  return setLimit(attributes, "Min", min_) && setLimit(attributes, "Max", max_) &&
         attributes.setDouble("Value", value_);
}

bool UFloatValue::loadAttributes(const FAttributes& attributes)
{
  double number = 0;
  if (attributes.getDouble("Min", number))
    setMinFloat(singlePrecision(number));
  if (attributes.getDouble("Max", number))
    setMaxFloat(singlePrecision(number));
  if (attributes.getDouble("Value", number))
    setFloatValue(singlePrecision(number));
  return true;
}

// With a default

bool UFloatDefValue::getDefault(int32_t& value) const
{
  value = truncated(default_);
  return true;
}

bool UFloatDefValue::getDefaultFloat(float& value) const
{
  value = default_;
  return true;
}

void UFloatDefValue::setDefaultFloat(float value)
{
  if (std::isfinite(value))
    default_ = value;
}

bool UFloatDefValue::resetToDefault()
{
  if (getFloat() == default_)
    return true;
  Ref<UValue> alive = kept();
  FlaggedEdit edit(*this);
  setFloat(default_);
  return true;
}

// With a transform

void UFloatTransformValue::setTransform(Ref<UFloatTransform> transform)
{
  if (transform_ == transform.get())
    return;
  transform_ = std::move(transform);
  changed(changeNotice);
}

double UFloatTransformValue::toDisplayed(float stored) const
{
  return transform_ ? transform_->toDisplayed(stored) : stored;
}

double UFloatTransformValue::toStored(double displayed) const
{
  return transform_ ? transform_->toStored(displayed) : displayed;
}

} // namespace orbi
