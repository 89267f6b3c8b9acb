#pragma once

#include "foundation/time_date.h"
#include "ui/values/int_value.h"

namespace orbi {

/// How a time is written.
enum class TimeFormat : uint32_t {
  seconds = 0, ///< "07:05:09"
  minutes = 1  ///< "07:05"
};

/// Seconds since midnight.
class USecondsValue : public CmClass<USecondsValue, UIntValue> {
public:
  static constexpr const char* className = "USecondsValue";

  explicit USecondsValue(int32_t value = 0, int32_t min = 0,
                         int32_t max = CmTime::secondsPerDay - 1)
      : CmClass(value, min, max)
  {
  }

  TimeFormat format() const { return format_; }
  void setFormat(TimeFormat format); ///< dependents are told

  void getString(CmString& text) const override;
  void setTextBuffer(const char* text, bool notifyTarget) override; ///< in either format

private:
  TimeFormat format_ = TimeFormat::seconds;
};

/// A day, as the seconds from 1970 to its start.
class UDateValue : public CmClass<UDateValue, UIntValue> {
public:
  static constexpr const char* className = "UDateValue";

  explicit UDateValue(int32_t value = 0, int32_t min = INT32_MIN, int32_t max = INT32_MAX)
      : CmClass(value, min, max)
  {
  }

  DateFormat dateFormat() const { return dateFormat_; }
  void setDateFormat(DateFormat format); ///< dependents are told

  void getString(CmString& text) const override;
  /// A day beyond the range is the nearest second that isn't, in January 2038 at the latest.
  void setTextBuffer(const char* text, bool notifyTarget) override;

private:
  DateFormat dateFormat_ = DateFormat::yearFirst;
};

} // namespace orbi
