#include "platform/linux/realtime_kit.h"

#include "platform/linux/dbus_library.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <mutex>
#include <optional>
#include <sched.h>
#include <sys/resource.h>

namespace orbi::platform::realtime_kit {

namespace {

constexpr int systemBus = 1;
constexpr int replyMilliseconds = 500;

constexpr const char* serviceName = "org.freedesktop.RealtimeKit1";
constexpr const char* servicePath = "/org/freedesktop/RealtimeKit1";

/// A connection for one conversation.
class Service {
public:
  explicit Service(const DBusLibrary& dbus) : dbus_(dbus), bus_(dbus.getBus(systemBus, nullptr))
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

  const DBusLibrary& dbus_;
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
  dbus_.appendArguments(call, dbusString, &serviceName, dbusString, &name, dbusInvalid);
  DBusMessage* reply = send(call);
  if (reply == nullptr)
    return std::nullopt;

  std::optional<std::int64_t> result;
  DBusMessageIter outer{};
  if (dbus_.beginReading(reply, &outer) != 0 && dbus_.argumentType(&outer) == dbusVariant) {
    DBusMessageIter inner{};
    dbus_.recurse(&outer, &inner);
    std::int64_t wide = 0;
    std::int32_t narrow = 0;
    if (dbus_.argumentType(&inner) == dbusInt64) {
      dbus_.getBasic(&inner, &wide);
      result = wide;
    } else if (dbus_.argumentType(&inner) == dbusInt32) {
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
  dbus_.appendArguments(call, dbusUint64, &thread, dbusUint32, &priority, dbusInvalid);
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
  static DBusLibrary dbus;
  if (!dbus.load()) {
    unreachable = true;
    return false;
  }
  Service service(dbus);
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
