#include "platform/linux/dbus_arguments.h"

#include "platform/utf8_text.h"

namespace orbi::platform {

void DBusWriter::text(std::string_view text)
{
  const std::string valid = validUtf8(text);
  const char* start = valid.c_str();
  dbus_.appendBasic(&place_, dbusString, &start);
}

void DBusWriter::boolean(bool value)
{
  const std::uint32_t wide = value ? 1 : 0;
  dbus_.appendBasic(&place_, dbusBoolean, &wide);
}

void DBusWriter::number(std::uint32_t value)
{
  dbus_.appendBasic(&place_, dbusUint32, &value);
}

void DBusWriter::bytes(std::string_view bytes)
{
  container(dbusArray, "y", [&](DBusWriter& array) {
    for (const char byte : bytes)
      dbus_.appendBasic(&array.place_, dbusByte, &byte);
    dbus_.appendBasic(&array.place_, dbusByte, "");
  });
}

std::optional<std::string> DBusReader::text(DBusType kind)
{
  if (type() != kind)
    return std::nullopt;
  const char* start = nullptr;
  dbus_.getBasic(&place_, &start);
  pass();
  return start;
}

std::optional<std::uint32_t> DBusReader::number()
{
  if (type() != dbusUint32)
    return std::nullopt;
  std::uint32_t result = 0;
  dbus_.getBasic(&place_, &result);
  pass();
  return result;
}

DBusReader DBusReader::inside(DBusType kind)
{
  DBusReader result(dbus_);
  if (type() == kind) {
    dbus_.recurse(&place_, &result.place_);
    result.atEnd_ = false;
  }
  pass();
  return result;
}

} // namespace orbi::platform
