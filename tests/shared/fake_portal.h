#pragma once

#include "platform/run_loop.h"
#include "shared/process.h"
#include "shared/variable.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <gio/gio.h>
#include <optional>
#include <string>

/// A bus for the session of this test alone. While it lives, DBUS_SESSION_BUS_ADDRESS leads to it.
class DBusDaemon {
public:
  DBusDaemon()
  {
    char config[] = "/tmp/orbi_bus_XXXXXX"; // that of the system would start the user's services
    FILE* file = fdopen(mkstemp(config), "w");
    std::fputs("<busconfig><listen>unix:tmpdir=/tmp</listen><policy context=\"default\">"
               "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
               "<allow own=\"*\"/></policy></busconfig>",
               file);
    std::fclose(file);
    const std::string path = std::string("--config-file=") + config;
    const std::string address = lineFrom([&](const std::string& descriptor) {
      const std::string print = "--print-address=" + descriptor;
      return daemon_ = startProcess({"dbus-daemon", "--nofork", path.c_str(), print.c_str()});
    });
    unlink(config);
    if (!address.empty())
      variable_.emplace("DBUS_SESSION_BUS_ADDRESS", address);
  }
  ~DBusDaemon() { kill(); }
  DBusDaemon(const DBusDaemon&) = delete;
  void kill() { endProcess(daemon_, SIGKILL); }
  bool isRunning() const { return variable_.has_value(); } ///< false where it isn't installed

private:
  pid_t daemon_ = 0;
  std::optional<Variable> variable_;
};

/// The desktop's portal as far as it shows file dialogs, without showing any. Lives in the test's
/// run loop, which must be there.
class FakePortal {
public:
  static constexpr const char* name = "org.freedesktop.portal.Desktop";

  explicit FakePortal(uint32_t version = 4) : version_(version)
  {
    bus_ = g_dbus_connection_new_for_address_sync(
        getenv("DBUS_SESSION_BUS_ADDRESS"),
        GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    ask("RequestName", g_variant_new("(su)", name, 0));
    offer("/org/freedesktop/portal/desktop", 0);
    timer_ = orbi::platform::RunLoop::instance()->addTimer(2, [] {
      while (g_main_context_iteration(nullptr, FALSE)) {}
    });
  }
  ~FakePortal()
  {
    orbi::platform::RunLoop::instance()->removeTimer(timer_);
    g_dbus_connection_close_sync(bus_, nullptr, nullptr);
    g_object_unref(bus_);
    g_dbus_node_info_unref(faces_);
    while (g_main_context_iteration(nullptr, FALSE)) {}
  }
  FakePortal(const FakePortal&) = delete;

  // What a dialog does
  std::function<void()> onCall = [this] { accept(); };
  void accept() ///< tells the caller that it is there
  {
    g_dbus_method_invocation_return_value(call_, g_variant_new("(o)", request.c_str()));
  }
  void refuse()
  {
    g_dbus_method_invocation_return_error_literal(call_, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED,
                                                  "no");
  }
  void respond(uint32_t code, const char* results = "@a{sv} {}")
  {
    g_dbus_connection_emit_signal(
        bus_, nullptr, request.c_str(), "org.freedesktop.portal.Request", "Response",
        g_variant_new("(u@*)", code, g_variant_new_parsed(results)), nullptr);
  }
  void vanish() { ask("ReleaseName", g_variant_new("(s)", name)); }

  std::string called; ///< the last call and its arguments
  std::string request;
  int calls = 0;
  int closed = 0;

private:
  void ask(const char* method, GVariant* arguments)
  {
    g_variant_unref(g_dbus_connection_call_sync(
        bus_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
  }
  void offer(const char* path, int face)
  {
    static constexpr GDBusInterfaceVTable table = {&take, &property, nullptr, {}};
    g_dbus_connection_register_object(bus_, path, faces_->interfaces[face], &table, this, nullptr,
                                      nullptr);
  }
  static GVariant* property(GDBusConnection*, const char*, const char*, const char*, const char*,
                            GError**, void* self)
  {
    return g_variant_new_uint32(static_cast<FakePortal*>(self)->version_);
  }
  static void take(GDBusConnection*, const char* sender, const char*, const char*,
                   const char* method, GVariant* arguments, GDBusMethodInvocation* call, void* self)
  {
    static_cast<FakePortal*>(self)->take(sender + 1, method, arguments, call);
  }
  void take(std::string sender, const std::string& method, GVariant* arguments,
            GDBusMethodInvocation* call)
  {
    call_ = call;
    if (method == "Close") {
      ++closed;
      return g_dbus_method_invocation_return_value(call, nullptr);
    }
    char* text = g_variant_print(arguments, TRUE);
    called = method + " " + text;
    g_free(text);
    std::ranges::replace(sender, '.', '_');
    request = "/org/freedesktop/portal/desktop/request/" + sender + "/orbiplayer";
    offer(request.c_str(), 1);
    ++calls;
    onCall();
  }

  uint32_t version_;
  GDBusConnection* bus_ = nullptr;
  GDBusMethodInvocation* call_ = nullptr;
  int timer_ = 0;
  GDBusNodeInfo* faces_ = g_dbus_node_info_new_for_xml(
      "<node><interface name='org.freedesktop.portal.FileChooser'>"
      "<method name='OpenFile'><arg type='s'/><arg type='s'/><arg type='a{sv}'/>"
      "<arg type='o' direction='out'/></method>"
      "<method name='SaveFile'><arg type='s'/><arg type='s'/><arg type='a{sv}'/>"
      "<arg type='o' direction='out'/></method>"
      "<property name='version' type='u' access='read'/></interface>"
      "<interface name='org.freedesktop.portal.Request'><method name='Close'/></interface></node>",
      nullptr);
};
