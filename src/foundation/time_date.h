#pragma once

#include "foundation/string.h"

namespace orbi {

/// Time of day to the millisecond. A new one is midnight.
class CmTime final : public CmClass<CmTime, CmObject> {
public:
  static constexpr const char* className = "CmTime";
  static constexpr int32_t secondsPerDay = 86400;

  CmTime() = default;
  CmTime(int hour, int minute, int second = 0, int millisecond = 0);
  static CmTime now();                        ///< of the local clock
  static CmTime fromSeconds(int64_t seconds); ///< of a day; more or less than one wraps

  int hour() const { return hour_; }
  int minute() const { return minute_; }
  int second() const { return second_; }
  int millisecond() const { return millisecond_; }
  bool isValid() const; ///< 0:00:00.000 to 23:59:59.999

  int32_t seconds() const { return (hour_ * 60 + minute_) * 60 + second_; } ///< since midnight
  int64_t addSeconds(int64_t seconds); ///< stays within the day; returns the days passed over

  void toText(CmString& text) const;    ///< "07:05:09", with ".250" when there are milliseconds
  bool fromText(std::string_view text); ///< "h:mm", "h:mm:ss" or with a fraction; else unchanged

  bool isEqual(const CmObject* other) const override;
  int compare(const CmObject* other) const override;
  uint32_t hash(uint32_t tableSize) const override;
  bool read(FStream& stream) override; ///< 32-bit milliseconds since midnight
  bool write(FStream& stream) const override;

private:
  int32_t milliseconds() const { return seconds() * 1000 + millisecond_; }

  int hour_ = 0;
  int minute_ = 0;
  int second_ = 0;
  int millisecond_ = 0;
};

/// How a date is written.
enum class DateFormat : uint32_t {
  yearFirst = 0, ///< "2024-02-29"
  dayFirst = 1,  ///< "29.02.2024"
  monthFirst = 2 ///< "02/29/2024"
};

/// Day of the Gregorian calendar, years 1 to 9999. A new one is 1970-01-01.
class CmDate final : public CmClass<CmDate, CmObject> {
public:
  static constexpr const char* className = "CmDate";

  CmDate() = default;
  CmDate(int year, int month, int day) : year_(year), month_(month), day_(day) {}
  static CmDate today();                      ///< of the local clock
  static CmDate fromSeconds(int64_t seconds); ///< since 1970; outside the years not valid
  static CmDate fromDays(int64_t days);       ///< likewise

  int year() const { return year_; }
  int month() const { return month_; } ///< 1 to 12
  int day() const { return day_; }     ///< 1 to 31
  bool isValid() const;                ///< a day that there is

  // Of a valid date
  int64_t days() const;           ///< since 1970-01-01, negative before
  int64_t seconds() const;        ///< at the day's start
  int dayOfWeek() const;          ///< 0 is Sunday
  bool addDays(int64_t days);     ///< false and unchanged outside the years
  bool addMonths(int64_t months); ///< a day that the month hasn't becomes its last one; likewise

  void toText(CmString& text, DateFormat format = DateFormat::yearFirst) const;
  /// Two separators of any of "-./"; false and unchanged unless it names a valid day.
  bool fromText(std::string_view text, DateFormat format = DateFormat::yearFirst);

  bool isEqual(const CmObject* other) const override;
  int compare(const CmObject* other) const override;
  uint32_t hash(uint32_t tableSize) const override;
  bool read(FStream& stream) override; ///< 32-bit year * 10000 + month * 100 + day
  bool write(FStream& stream) const override;

private:
  int32_t number() const { return year_ * 10000 + month_ * 100 + day_; }

  int year_ = 1970;
  int month_ = 1;
  int day_ = 1;
};

} // namespace orbi
