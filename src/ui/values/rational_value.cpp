#include "ui/values/rational_value.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/stream.h"
#include "ui/values/value_numbers.h"

#include <cstdlib>
#include <numeric>

namespace orbi {

CM_REGISTER(URationalValue);

URationalValue::URationalValue(int32_t numerator, int32_t denominator)
{
  URationalValue::setRational(numerator, denominator);
}

void URationalValue::reduce(int32_t& numerator, int32_t& denominator) const
{
  const int64_t divisor = std::gcd(int64_t(numerator), int64_t(denominator));
  numerator = static_cast<int32_t>(numerator / divisor); // up to 2^31 and so not one of 32 bits
  denominator = static_cast<int32_t>(denominator / divisor);
}

void URationalValue::setRational(int32_t numerator, int32_t denominator)
{
  if (denominator == 0)
    return;
  reduce(numerator, denominator);
  if (numerator == numerator_ && denominator == denominator_)
    return;
  numerator_ = numerator;
  denominator_ = denominator;
  changed(changeNotice);
}

int32_t URationalValue::getValue() const
{
  return saturated(int64_t(numerator_) / denominator_);
}

float URationalValue::getFloat() const
{
  return static_cast<float>(double(numerator_) / denominator_);
}

void URationalValue::copyValue(const UValue& other)
{
  auto* rational = castTo<URationalValue>(&other);
  if (!rational) {
    setInt(other.getInt());
    return;
  }
  Ref<UValue> alive = kept();
  setRational(rational->numerator_, rational->denominator_);
  notifyTarget();
}

// Text

void URationalValue::getString(CmString& text) const
{
  const bool isNegative = numerator_ != 0 && (numerator_ < 0) != (denominator_ < 0);
  text.set(isNegative ? "-" : "");
  text.appendNumber(std::abs(int64_t(numerator_)));
  text.append("/");
  text.appendNumber(std::abs(int64_t(denominator_)));
}

template <class Set>
void URationalValue::textFor(Set set, CmString& text)
{
  const int32_t numerator = numerator_;
  const int32_t denominator = denominator_;
  Quiet quiet(*this);
  set();
  getString(text);
  numerator_ = numerator;
  denominator_ = denominator;
}

void URationalValue::getStringForValue(int32_t value, CmString& text)
{
  textFor([=, this] { setValue(value); }, text);
}

void URationalValue::getStringForNormalized(float fraction, CmString& text)
{
  textFor([=, this] { setNormalized(fraction); }, text);
}

void URationalValue::setTextBuffer(const char* text, bool notifyTarget)
{
  std::string_view given = text ? text : "";
  const size_t slash = given.find('/');
  const std::optional<double> numerator = numberIn(given.substr(0, slash));
  const std::optional<double> denominator =
      slash == given.npos ? 1.0 : numberIn(given.substr(slash + 1));
  if (!numerator || !denominator || truncated(*denominator) == 0)
    return;
  Ref<UValue> alive = kept();
  setRational(truncated(*numerator), truncated(*denominator));
  if (notifyTarget)
    this->notifyTarget();
}

// Persistence

bool URationalValue::read(FStream& stream)
{
  int32_t numerator = 0;
  int32_t denominator = 0;
  if (!stream.readInt32(numerator) || !stream.readInt32(denominator) || denominator == 0)
    return false;
  setRational(numerator, denominator);
  return true;
}

bool URationalValue::write(FStream& stream) const
{
  return stream.writeInt32(numerator_) && stream.writeInt32(denominator_);
}

bool URationalValue::storeAttributes(FAttributes& attributes) const
{
  return Super::storeAttributes(attributes) && attributes.setInt("Numerator", numerator_) &&
         attributes.setInt("Denominator", denominator_);
}

bool URationalValue::loadAttributes(const FAttributes& attributes)
{
  int64_t numerator = 0;
  int64_t denominator = 0;
  if (!attributes.getInt("Numerator", numerator) || !attributes.getInt("Denominator", denominator))
    return Super::loadAttributes(attributes);
  setRational(saturated(numerator), saturated(denominator));
  return true;
}

} // namespace orbi
