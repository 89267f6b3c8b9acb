#include "platform/linux/session_bus.h"

#include "platform/run_loop.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace orbi::platform {

namespace {

/// The sockets of this machine among the places where the bus may be. Others start programs or
/// look names up, which takes its time.
std::string localAddresses(std::string_view addresses)
{
  std::string result;
  while (!addresses.empty()) {
    const std::string_view address = addresses.substr(0, addresses.find(';'));
    if (address.starts_with("unix:"))
      result.append(result.empty() ? "" : ";").append(address);
    addresses.remove_prefix(std::min(address.size() + 1, addresses.size()));
  }
  return result;
}

} // namespace

SessionBus::~SessionBus()
{
  if (connection_ == nullptr)
    return;
  exchange();
  disconnect();
}

std::uint32_t SessionBus::open()
{
  const char* announced = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  const std::string address = localAddresses(announced != nullptr ? announced : "");
  if (address.empty() || RunLoop::instance() == nullptr || !dbus_.load())
    return 0;
  connection_ = dbus_.connect(address.c_str(), nullptr);
  if (connection_ == nullptr)
    return 0;
  dbus_.setExitOnDisconnect(connection_, 0);
  if (dbus_.descriptor(connection_, &descriptor_) == 0) {
    disconnect();
    return 0;
  }
  RunLoop::instance()->addSource(*this);
  return send(dbus_.newCall(name, path, name, "Hello"));
}

void SessionBus::disconnect()
{
  if (RunLoop* loop = RunLoop::instance())
    loop->removeSource(*this);
  dbus_.close(connection_);
  dbus_.unrefConnection(connection_);
  connection_ = nullptr;
  descriptor_ = -1;
}

std::uint32_t SessionBus::send(DBusMessage* call)
{
  std::uint32_t serial = 0;
  if (call == nullptr)
    return 0;
  if (connection_ != nullptr)
    dbus_.send(connection_, call, &serial);
  dbus_.unrefMessage(call);
  return serial;
}

void SessionBus::match(const std::string& rule)
{
  DBusMessage* call = dbus_.newCall(name, path, name, "AddMatch");
  if (call == nullptr)
    return;
  const char* text = rule.c_str();
  dbus_.appendArguments(call, dbusString, &text, dbusInvalid);
  dbus_.setNoReply(call, 1);
  send(call);
}

/// Signing on takes a few turns of asking and answering, each of which may leave something to send.
void SessionBus::exchange()
{
  for (int turn = 0; turn < 4; ++turn)
    if (dbus_.readAndWrite(connection_, 0) == 0 || dbus_.hasToSend(connection_) == 0)
      return;
}

bool SessionBus::hasPending()
{
  if (connection_ == nullptr)
    return false;
  if (dbus_.hasToSend(connection_) != 0)
    exchange();
  return dbus_.waiting(connection_) == 0 || dbus_.isConnected(connection_) == 0;
}

void SessionBus::dispatch()
{
  exchange();
  while (connection_ != nullptr) {
    DBusMessage* message = dbus_.pop(connection_);
    if (message == nullptr)
      break;
    listener_.busMessage(*message);
    dbus_.unrefMessage(message);
  }
  if (connection_ == nullptr || dbus_.isConnected(connection_) != 0)
    return;
  disconnect();
  listener_.busLost();
}

} // namespace orbi::platform
