#include "ui/values/string_value.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(UStringValue);

UStringValue::UStringValue(std::string_view text) : string_(text)
{
  setType(textType);
}

void UStringValue::setString(std::string_view text)
{
  if (string_ == text)
    return;
  string_.set(text);
  changed(changeNotice);
}

void UStringValue::copyValue(const UValue& other)
{
  CmString text;
  other.getStringThis(text);
  setText(text.text());
}

void UStringValue::setTextBuffer(const char* text, bool notifyTarget)
{
  Ref<UValue> alive = kept();
  setString(text ? text : "");
  if (notifyTarget)
    this->notifyTarget();
}

bool UStringValue::read(FStream& stream)
{
  CmString text;
  if (!text.read(stream))
    return false;
  setString(text.view());
  return true;
}

bool UStringValue::write(FStream& stream) const
{
  return string_.write(stream);
}

bool UStringValue::storeAttributes(FAttributes& attributes) const
{
  return attributes.setString("String", string_.text());
}

bool UStringValue::loadAttributes(const FAttributes& attributes)
{
  if (const char* text = attributes.getString("String"))
    setString(text);
  return true;
}

} // namespace orbi
