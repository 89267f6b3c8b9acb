#pragma once

#include "platform/linux/dbus_library.h"

#include <optional>
#include <string>
#include <string_view>

namespace orbi::platform {

/// Writes the arguments of a message, or what lies in a container of one.
class DBusWriter {
public:
  DBusWriter(const DBusLibrary& dbus, DBusMessage& message) : dbus_(dbus)
  {
    dbus_.beginWriting(&message, &place_);
  }

  void text(std::string_view text); ///< as UTF-8, whatever it holds
  void boolean(bool value);
  void number(std::uint32_t value);
  void bytes(std::string_view bytes); ///< as an array, with a zero at its end

  /// Calls for what is in it. The signature is an array's or a variant's.
  template <class Contents>
  void container(DBusType type, const char* signature, const Contents& contents)
  {
    DBusWriter inner(dbus_);
    if (dbus_.openContainer(&place_, type, signature, &inner.place_) == 0)
      return; // there is no memory
    contents(inner);
    dbus_.closeContainer(&place_, &inner.place_);
  }
  /// Of a dictionary from texts to variants.
  template <class Contents>
  void entry(const char* key, const char* signature, const Contents& contents)
  {
    container(dbusEntry, nullptr, [&](DBusWriter& entry) {
      entry.text(key);
      entry.container(dbusVariant, signature, contents);
    });
  }

private:
  explicit DBusWriter(const DBusLibrary& dbus) : dbus_(dbus) {}

  const DBusLibrary& dbus_;
  DBusMessageIter place_{};
};

/// Reads the arguments of a message, or what lies in a container of one, in their order. What is
/// of another type than asked for reads as nothing.
class DBusReader {
public:
  DBusReader(const DBusLibrary& dbus, DBusMessage& message) : dbus_(dbus)
  {
    atEnd_ = dbus_.beginReading(&message, &place_) == 0;
  }

  bool atEnd() { return type() == dbusInvalid; }
  std::optional<std::string> text(DBusType kind = dbusString);
  std::optional<std::uint32_t> number();
  DBusReader inside(DBusType kind); ///< of a container, which is passed; at its end when it is none

private:
  explicit DBusReader(const DBusLibrary& dbus) : dbus_(dbus), atEnd_(true) {}
  int type() { return atEnd_ ? dbusInvalid : dbus_.argumentType(&place_); }
  void pass() { atEnd_ = atEnd_ || dbus_.next(&place_) == 0; }

  const DBusLibrary& dbus_;
  DBusMessageIter place_{};
  bool atEnd_ = false;
};

} // namespace orbi::platform
