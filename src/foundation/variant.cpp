#include "foundation/variant.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace orbi {

CM_REGISTER(CmVariant);

namespace {

constexpr const char* valueKey = "Value";

int ordered(auto a, auto b)
{
  return (a > b) - (a < b);
}

template <class Number>
void putNumber(CmString& text, Number number)
{
  char digits[64];
  auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  text.set(std::string_view(digits, static_cast<size_t>(end - digits)));
}

int64_t cutOff(double number)
{
  constexpr double limit = 9223372036854775808.0; // 2^63
  if (std::isnan(number))
    return 0;
  if (number >= limit)
    return std::numeric_limits<int64_t>::max();
  return number < -limit ? std::numeric_limits<int64_t>::min() : static_cast<int64_t>(number);
}

} // namespace

CmVariant::Type CmVariant::type() const
{
  switch (value_.kind() & (attributeInt | attributeDouble | attributeText | attributeObject)) {
  case attributeInt:
    return Type::integer;
  case attributeDouble:
    return Type::number;
  case attributeText:
    return Type::text;
  case attributeObject:
    return asObject() ? Type::object : Type::none;
  default:
    return Type::none;
  }
}

void CmVariant::setText(const char* text)
{
  value_.setText(text ? text : "");
}

void CmVariant::setObject(CmObject* object)
{
  if (object)
    value_.setObject(object, ObjectMode::shared);
  else
    value_.clear();
}

int64_t CmVariant::asInt() const
{
  return type() == Type::number ? cutOff(value_.asDouble()) : value_.asInt();
}

double CmVariant::asDouble() const
{
  return type() == Type::integer ? static_cast<double>(value_.asInt()) : value_.asDouble();
}

void CmVariant::toText(CmString& text) const
{
  if (type() == Type::integer)
    putNumber(text, value_.asInt());
  else if (type() == Type::number)
    putNumber(text, value_.asDouble());
  else
    text.set(value_.asText());
}

int CmVariant::compare(const CmObject* other) const
{
  auto* variant = castTo<CmVariant>(other);
  if (!variant)
    return CmObject::compare(other);
  if (type() != variant->type())
    return ordered(type(), variant->type());
  switch (type()) {
  case Type::integer:
    return ordered(value_.asInt(), variant->value_.asInt());
  case Type::number:
    return ordered(value_.asDouble(), variant->value_.asDouble());
  case Type::text:
    return ordered(compareTexts(value_.asText(), variant->value_.asText(), TextCompare::bytes), 0);
  case Type::object:
    return asObject()->isEqual(variant->asObject()) ? 0 : asObject()->compare(variant->asObject());
  case Type::none:
    break;
  }
  return 0;
}

uint32_t CmVariant::hash(uint32_t tableSize) const
{
  if (type() == Type::object)
    return asObject()->hash(tableSize);
  CmString text;
  toText(text);
  return text.hash(tableSize);
}

bool CmVariant::storeAttributes(FAttributes& attributes) const
{
  switch (type()) {
  case Type::integer:
    return attributes.setInt(valueKey, value_.asInt());
  case Type::number:
    return attributes.setDouble(valueKey, value_.asDouble());
  case Type::text:
    return attributes.setString(valueKey, value_.asText());
  case Type::object:
    return attributes.setObject(valueKey, asObject(), ObjectMode::shared);
  case Type::none:
    break;
  }
  return true;
}

bool CmVariant::loadAttributes(const FAttributes& attributes)
{
  value_.clear();
  if (const FStringIDAttribute* stored = attributes.find(valueKey))
    value_ = *stored;
  return true;
}

} // namespace orbi
