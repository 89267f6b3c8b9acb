#pragma once

#include "platform/linux/dbus_library.h"
#include "platform/linux/event_source.h"

#include <string>

namespace orbi::platform {

class SessionBusListener {
public:
  virtual void busMessage(DBusMessage& message) = 0; ///< borrowed
  virtual void busLost() = 0; ///< for good; what is sent from now on goes nowhere

protected:
  ~SessionBusListener() = default;
};

/// A connection of its own to the bus of the user's session. Nothing here waits: what is sent goes
/// out, and what comes is told, when the run loop gets to it. Main thread.
class SessionBus final : private EventSource {
public:
  explicit SessionBus(SessionBusListener& listener) : listener_(listener) {}
  ~SessionBus(); ///< sends off what waits; not from within the listener
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

  /// Says "Hello" as the bus demands, and answers with that call's serial number; 0 where no bus
  /// is announced or nobody listens there.
  std::uint32_t open();
  std::uint32_t send(DBusMessage* call); ///< takes it over; its serial number, 0 on failure
  void match(const std::string& rule);   ///< has signals delivered here; the rule is UTF-8

  const DBusLibrary& library() const { return dbus_; }

  static constexpr const char* name = "org.freedesktop.DBus";
  static constexpr const char* path = "/org/freedesktop/DBus";

private:
  int descriptor() const override { return descriptor_; }
  bool hasPending() override;
  void dispatch() override;
  void exchange();
  void disconnect();

  SessionBusListener& listener_;
  DBusLibrary dbus_;
  DBusConnection* connection_ = nullptr;
  int descriptor_ = -1;
};

} // namespace orbi::platform
