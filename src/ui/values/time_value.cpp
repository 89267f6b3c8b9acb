#include "ui/values/time_value.h"

#include "foundation/class_registry.h"
#include "ui/values/value_numbers.h"

namespace orbi {

CM_REGISTER(USecondsValue);
CM_REGISTER(UDateValue);

void USecondsValue::setFormat(TimeFormat format)
{
  if (format == format_)
    return;
  format_ = format;
  changed(changeNotice);
}

void USecondsValue::getString(CmString& text) const
{
  CmTime::fromSeconds(getValue()).toText(text);
  if (format_ == TimeFormat::minutes)
    text.set(text.view().substr(0, text.view().rfind(':')));
}

void USecondsValue::setTextBuffer(const char* text, bool notifyTarget)
{
  CmTime time;
  if (time.fromText(text ? text : ""))
    setIntEx(time.seconds(), notifyTarget);
}

void UDateValue::setDateFormat(DateFormat format)
{
  if (format == dateFormat_)
    return;
  dateFormat_ = format;
  changed(changeNotice);
}

void UDateValue::getString(CmString& text) const
{
  CmDate::fromSeconds(getValue()).toText(text, dateFormat_);
}

void UDateValue::setTextBuffer(const char* text, bool notifyTarget)
{
  CmDate date;
  if (date.fromText(text ? text : "", dateFormat_))
    setIntEx(saturated(date.seconds()), notifyTarget);
}

} // namespace orbi
