#include "foundation/time_date.h"

#include "foundation/class_registry.h"
#include "foundation/lock.h"
#include "foundation/stream.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <ctime>

namespace orbi {

CM_REGISTER(CmTime);
CM_REGISTER(CmDate);

namespace {

constexpr int firstYear = 1;
constexpr int lastYear = 9999;

/// For each format, which of year, month and day stands first, second and third.
struct DateOrder {
  int field[3];
  const char* pattern;
};
constexpr DateOrder dateOrders[] = {
    {{0, 1, 2}, "%04d-%02d-%02d"}, {{2, 1, 0}, "%02d.%02d.%04d"}, {{1, 2, 0}, "%02d/%02d/%04d"}};

const DateOrder& orderOf(DateFormat format)
{
  auto index = static_cast<size_t>(format);
  return dateOrders[index < std::size(dateOrders) ? index : 0];
}

std::tm localTime(std::time_t moment)
{
  static FLock lock{"local time"}; // the library answers in one buffer for all threads
  FGuard guard(lock);
  const std::tm* local = std::localtime(&moment);
  return local ? *local : std::tm{};
}

/// Cuts an unsigned number of at most `digits` digits off the text.
bool cutNumber(std::string_view& text, int digits, int& number)
{
  const char* end = text.data() + text.size();
  if (text.empty() || text.front() < '0' || text.front() > '9')
    return false;
  auto [behind, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || behind - text.data() > digits)
    return false;
  text.remove_prefix(static_cast<size_t>(behind - text.data()));
  return true;
}

bool cutOneOf(std::string_view& text, std::string_view characters)
{
  if (text.empty() || characters.find(text.front()) == std::string_view::npos)
    return false;
  text.remove_prefix(1);
  return true;
}

/// ".25" is 250 milliseconds; digits behind the third are read over.
bool cutFraction(std::string_view& text, int& milliseconds)
{
  int digits = 0;
  for (; !text.empty() && text.front() >= '0' && text.front() <= '9'; text.remove_prefix(1))
    if (digits++ < 3)
      milliseconds = milliseconds * 10 + (text.front() - '0');
  for (int missing = digits; missing < 3; ++missing)
    milliseconds *= 10;
  return digits > 0;
}

int64_t floorDivide(int64_t a, int64_t b)
{
  return a / b - (a % b < 0 ? 1 : 0);
}

std::chrono::sys_days dayNumber(int year, int month, int day)
{
  return std::chrono::year{year} / month / day;
}

bool isCalendarDay(int year, int month, int day)
{
  if (year < firstYear || year > lastYear || month < 1 || month > 12 || day < 1 || day > 31)
    return false;
  return (std::chrono::year{year} / month / day).ok();
}

} // namespace

CmTime::CmTime(int hour, int minute, int second, int millisecond)
    : hour_(hour), minute_(minute), second_(second), millisecond_(millisecond)
{
}

CmTime CmTime::now()
{
  using namespace std::chrono;
  auto moment = system_clock::now();
  auto fraction = duration_cast<std::chrono::milliseconds>(moment.time_since_epoch()) % 1000;
  std::tm local = localTime(system_clock::to_time_t(moment));
  // A leap second counts with the one before it.
  return {local.tm_hour, local.tm_min, std::min(local.tm_sec, 59),
          static_cast<int>(fraction.count())};
}

CmTime CmTime::fromSeconds(int64_t seconds)
{
  CmTime time;
  time.addSeconds(seconds % secondsPerDay);
  return time;
}

bool CmTime::isValid() const
{
  auto within = [](int value, int limit) { return value >= 0 && value < limit; };
  return within(hour_, 24) && within(minute_, 60) && within(second_, 60) &&
         within(millisecond_, 1000);
}

int64_t CmTime::addSeconds(int64_t seconds)
{
  int64_t days = floorDivide(seconds, secondsPerDay);
  int64_t sum = this->seconds() + (seconds - days * secondsPerDay);
  days += sum / secondsPerDay;
  auto rest = static_cast<int>(sum % secondsPerDay);
  hour_ = rest / 3600;
  minute_ = rest / 60 % 60;
  second_ = rest % 60;
  return days;
}

void CmTime::toText(CmString& text) const
{
  if (millisecond_)
    text.format("%02d:%02d:%02d.%03d", hour_, minute_, second_, millisecond_);
  else
    text.format("%02d:%02d:%02d", hour_, minute_, second_);
}

bool CmTime::fromText(std::string_view text)
{
  CmTime parsed;
  if (!cutNumber(text, 2, parsed.hour_) || !cutOneOf(text, ":") ||
      !cutNumber(text, 2, parsed.minute_))
    return false;
  if (cutOneOf(text, ":") && !cutNumber(text, 2, parsed.second_))
    return false;
  if (cutOneOf(text, ".,") && !cutFraction(text, parsed.millisecond_))
    return false;
  if (!text.empty() || !parsed.isValid())
    return false;
  hour_ = parsed.hour_;
  minute_ = parsed.minute_;
  second_ = parsed.second_;
  millisecond_ = parsed.millisecond_;
  return true;
}

bool CmTime::isEqual(const CmObject* other) const
{
  auto* time = castTo<CmTime>(other);
  return time && time->milliseconds() == milliseconds();
}

int CmTime::compare(const CmObject* other) const
{
  auto* time = castTo<CmTime>(other);
  if (!time)
    return CmObject::compare(other);
  return (milliseconds() > time->milliseconds()) - (milliseconds() < time->milliseconds());
}

uint32_t CmTime::hash(uint32_t tableSize) const
{
  return tableSize ? static_cast<uint32_t>(milliseconds()) % tableSize : 0;
}

bool CmTime::read(FStream& stream)
{
  int32_t stored = 0;
  if (!stream.readInt32(stored) || stored < 0 || stored >= secondsPerDay * 1000)
    return false;
  *this = fromSeconds(stored / 1000);
  millisecond_ = stored % 1000;
  return true;
}

bool CmTime::write(FStream& stream) const
{
  return stream.writeInt32(milliseconds());
}

CmDate CmDate::today()
{
  std::tm local = localTime(std::time(nullptr));
  return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday};
}

CmDate CmDate::fromSeconds(int64_t seconds)
{
  return fromDays(floorDivide(seconds, CmTime::secondsPerDay));
}

CmDate CmDate::fromDays(int64_t days)
{
  using namespace std::chrono;
  static const int64_t first = dayNumber(firstYear, 1, 1).time_since_epoch().count();
  static const int64_t last = dayNumber(lastYear, 12, 31).time_since_epoch().count();
  if (days < first || days > last)
    return {0, 0, 0};
  year_month_day date{sys_days{std::chrono::days{days}}};
  return {static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
          static_cast<int>(static_cast<unsigned>(date.day()))};
}

bool CmDate::isValid() const
{
  return isCalendarDay(year_, month_, day_);
}

int64_t CmDate::days() const
{
  return isValid() ? dayNumber(year_, month_, day_).time_since_epoch().count() : 0;
}

int64_t CmDate::seconds() const
{
  return days() * CmTime::secondsPerDay;
}

int CmDate::dayOfWeek() const
{
  int64_t day = days() + 4; // 1970-01-01 was a Thursday
  return static_cast<int>(day - floorDivide(day, 7) * 7);
}

bool CmDate::addDays(int64_t days)
{
  constexpr int64_t everyDay = 366 * int64_t(lastYear);
  if (!isValid() || days > everyDay || days < -everyDay)
    return false;
  CmDate moved = fromDays(this->days() + days);
  if (moved.isValid())
    *this = moved;
  return moved.isValid();
}

bool CmDate::addMonths(int64_t months)
{
  constexpr int64_t everyMonth = 12 * int64_t(lastYear);
  if (!isValid() || months > everyMonth || months < -everyMonth)
    return false;
  int64_t sum = year_ * int64_t(12) + month_ - 1 + months;
  int64_t year = floorDivide(sum, 12);
  if (year < firstYear || year > lastYear)
    return false;
  year_ = static_cast<int>(year);
  month_ = static_cast<int>(sum - year * 12) + 1;
  while (!isValid())
    --day_;
  return true;
}

void CmDate::toText(CmString& text, DateFormat format) const
{
  const DateOrder& order = orderOf(format);
  const int fields[] = {year_, month_, day_};
  char written[64];
  std::snprintf(written, sizeof written, order.pattern, fields[order.field[0]],
                fields[order.field[1]], fields[order.field[2]]);
  text.set(written);
}

bool CmDate::fromText(std::string_view text, DateFormat format)
{
  int fields[3] = {};
  for (int place = 0; place < 3; ++place) {
    if (place > 0 && !cutOneOf(text, "-./"))
      return false;
    if (!cutNumber(text, 4, fields[orderOf(format).field[place]]))
      return false;
  }
  if (!text.empty() || !isCalendarDay(fields[0], fields[1], fields[2]))
    return false;
  *this = CmDate(fields[0], fields[1], fields[2]);
  return true;
}

bool CmDate::isEqual(const CmObject* other) const
{
  auto* date = castTo<CmDate>(other);
  return date && date->number() == number();
}

int CmDate::compare(const CmObject* other) const
{
  auto* date = castTo<CmDate>(other);
  return date ? (number() > date->number()) - (number() < date->number())
              : CmObject::compare(other);
}

uint32_t CmDate::hash(uint32_t tableSize) const
{
  return tableSize ? static_cast<uint32_t>(number()) % tableSize : 0;
}

bool CmDate::read(FStream& stream)
{
  int32_t stored = 0;
  if (!stream.readInt32(stored))
    return false;
  CmDate date(stored / 10000, stored / 100 % 100, stored % 100);
  if (date.isValid())
    *this = date;
  return date.isValid();
}

bool CmDate::write(FStream& stream) const
{
  return stream.writeInt32(number());
}

} // namespace orbi
