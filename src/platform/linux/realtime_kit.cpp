#include "platform/linux/realtime_kit.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <dlfcn.h>
#include <mutex>
#include <optional>
#include <sched.h>
#include <sys/resource.h>

namespace orbi::platform::realtime_kit {

// The few functions of libdbus that are used, found at run time: neither the build nor the start of
// the program depends on it.

namespace {

struct DBusConnection;
struct DBusMessage;

// An iterator is the caller's memory; this is more than the library's own structure takes.
struct DBusMessageIter {
  void* content[24];
};

constexpr int systemBus = 1;
constexpr int typeInvalid = 0;
constexpr int typeInt32 = 'i';
constexpr int typeUint32 = 'u';
constexpr int typeInt64 = 'x';
constexpr int typeUint64 = 't';
constexpr int typeString = 's';
constexpr int typeVariant = 'v';
constexpr int replyMilliseconds = 500;

constexpr const char* serviceName = "org.freedesktop.RealtimeKit1";
constexpr const char* servicePath = "/org/freedesktop/RealtimeKit1";

struct Library {
  DBusConnection* (*busGetPrivate)(int bus, void* error);
  void (*setExitOnDisconnect)(DBusConnection*, unsigned exits);
  void (*close)(DBusConnection*);
  void (*unrefConnection)(DBusConnection*);
  DBusMessage* (*newCall)(const char* service, const char* path, const char* face,
                          const char* name);
  unsigned (*appendArguments)(DBusMessage*, int firstType, ...);
  DBusMessage* (*sendAndWait)(DBusConnection*, DBusMessage*, int milliseconds, void* error);
  void (*unrefMessage)(DBusMessage*);
  unsigned (*iterate)(DBusMessage*, DBusMessageIter*);
  int (*argumentType)(DBusMessageIter*);
  void (*recurse)(DBusMessageIter*, DBusMessageIter* inner);
  void (*getBasic)(DBusMessageIter*, void* value);
};

template <typename Function>
bool find(void* library, const char* name, Function& function)
{
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

std::optional<Library> loadLibrary()
{
  void* file = dlopen("libdbus-1.so.3", RTLD_NOW | RTLD_LOCAL); // stays loaded
  Library dbus{};
  const bool complete =
      file != nullptr && find(file, "dbus_bus_get_private", dbus.busGetPrivate) &&
      find(file, "dbus_connection_set_exit_on_disconnect", dbus.setExitOnDisconnect) &&
      find(file, "dbus_connection_close", dbus.close) &&
      find(file, "dbus_connection_unref", dbus.unrefConnection) &&
      find(file, "dbus_message_new_method_call", dbus.newCall) &&
      find(file, "dbus_message_append_args", dbus.appendArguments) &&
      find(file, "dbus_connection_send_with_reply_and_block", dbus.sendAndWait) &&
      find(file, "dbus_message_unref", dbus.unrefMessage) &&
      find(file, "dbus_message_iter_init", dbus.iterate) &&
      find(file, "dbus_message_iter_get_arg_type", dbus.argumentType) &&
      find(file, "dbus_message_iter_recurse", dbus.recurse) &&
      find(file, "dbus_message_iter_get_basic", dbus.getBasic);
  return complete ? std::optional(dbus) : std::nullopt;
}

/// A connection for one conversation.
class Service {
public:
  explicit Service(const Library& dbus) : dbus_(dbus), bus_(dbus.busGetPrivate(systemBus, nullptr))
  {
    if (bus_ != nullptr)
      dbus_.setExitOnDisconnect(bus_, 0);
  }
  ~Service()
  {
    if (bus_ == nullptr)
      return;
    dbus_.close(bus_);
    dbus_.unrefConnection(bus_);
  }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  bool reached() const { return bus_ != nullptr; }
  std::optional<std::int64_t> property(const char* name);
  bool makeThreadRealtime(std::uint64_t thread, std::uint32_t priority);

private:
  DBusMessage* send(DBusMessage* call);

  const Library& dbus_;
  DBusConnection* bus_;
};

/// Takes the call over; null on an error or when no answer comes.
DBusMessage* Service::send(DBusMessage* call)
{
  DBusMessage* reply = dbus_.sendAndWait(bus_, call, replyMilliseconds, nullptr);
  dbus_.unrefMessage(call);
  return reply;
}

std::optional<std::int64_t> Service::property(const char* name)
{
  DBusMessage* call =
      dbus_.newCall(serviceName, servicePath, "org.freedesktop.DBus.Properties", "Get");
  if (call == nullptr)
    return std::nullopt;
  dbus_.appendArguments(call, typeString, &serviceName, typeString, &name, typeInvalid);
  DBusMessage* reply = send(call);
  if (reply == nullptr)
    return std::nullopt;

  std::optional<std::int64_t> result;
  DBusMessageIter outer{};
  if (dbus_.iterate(reply, &outer) != 0 && dbus_.argumentType(&outer) == typeVariant) {
    DBusMessageIter inner{};
    dbus_.recurse(&outer, &inner);
    std::int64_t wide = 0;
    std::int32_t narrow = 0;
    if (dbus_.argumentType(&inner) == typeInt64) {
      dbus_.getBasic(&inner, &wide);
      result = wide;
    } else if (dbus_.argumentType(&inner) == typeInt32) {
      dbus_.getBasic(&inner, &narrow);
      result = narrow;
    }
  }
  dbus_.unrefMessage(reply);
  return result;
}

bool Service::makeThreadRealtime(std::uint64_t thread, std::uint32_t priority)
{
  DBusMessage* call = dbus_.newCall(serviceName, servicePath, serviceName, "MakeThreadRealtime");
  if (call == nullptr)
    return false;
  dbus_.appendArguments(call, typeUint64, &thread, typeUint32, &priority, typeInvalid);
  DBusMessage* reply = send(call);
  if (reply == nullptr)
    return false;
  dbus_.unrefMessage(reply);
  return true;
}

} // namespace

// The time limit that the service demands

static rlim_t softLimitBelow(rlim_t hard)
{
  return hard / 2;
}

/// Comes when a real-time thread didn't rest for as long as it may. The next step of the kernel
/// would be to end the process, so the thread loses its privilege instead.
static void demoteThread(int)
{
  rlimit limit{};
  if (getrlimit(RLIMIT_RTTIME, &limit) == 0) { // the kernel has raised it, others need it too
    limit.rlim_cur = softLimitBelow(limit.rlim_max);
    setrlimit(RLIMIT_RTTIME, &limit);
  }
  sched_param ordinary{};
  if (sched_setscheduler(0, SCHED_OTHER, &ordinary) != 0)
    sched_setscheduler(0, SCHED_OTHER | SCHED_RESET_ON_FORK, &ordinary);
}

static bool limitRealtime(std::int64_t microseconds)
{
  rlimit limit{};
  if (microseconds <= 0 || getrlimit(RLIMIT_RTTIME, &limit) != 0)
    return false;
  const auto hard = std::min<rlim_t>(limit.rlim_max, static_cast<rlim_t>(microseconds));

  struct sigaction former {};
  sigaction(SIGXCPU, nullptr, &former);
  if ((former.sa_flags & SA_SIGINFO) == 0 && former.sa_handler == SIG_DFL) {
    struct sigaction demote {};
    demote.sa_handler = demoteThread;
    demote.sa_flags = SA_RESTART | SA_ONSTACK;
    sigemptyset(&demote.sa_mask);
    sigaction(SIGXCPU, &demote, nullptr);
  }
  limit.rlim_max = hard;
  limit.rlim_cur = std::min(limit.rlim_cur, softLimitBelow(hard));
  return setrlimit(RLIMIT_RTTIME, &limit) == 0;
}

// The conversation

bool makeRealtime(pid_t thread, int priority)
{
  static std::mutex oneAtATime;
  static bool unreachable = false;
  std::lock_guard guard(oneAtATime);
  if (unreachable)
    return false;
  static const std::optional<Library> dbus = loadLibrary();
  if (!dbus) {
    unreachable = true;
    return false;
  }
  Service service(*dbus);
  const std::optional<std::int64_t> microseconds =
      service.reached() ? service.property("RTTimeUSecMax") : std::nullopt;
  const std::optional<std::int64_t> highest =
      microseconds ? service.property("MaxRealtimePriority") : std::nullopt;
  if (!highest || *highest < 1) {
    unreachable = true;
    return false;
  }
  const auto granted = static_cast<std::uint32_t>(std::min<std::int64_t>(priority, *highest));
  return limitRealtime(*microseconds) &&
         service.makeThreadRealtime(static_cast<std::uint64_t>(thread), granted);
}

} // namespace orbi::platform::realtime_kit
