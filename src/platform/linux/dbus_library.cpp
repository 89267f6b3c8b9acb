#include "platform/linux/dbus_library.h"

namespace orbi::platform {

bool DBusLibrary::load()
{
  const auto find = [this](auto*& function, const char* name) {
    return library_.find(function, name);
  };
  return library_.load("libdbus-1.so.3") && find(getBus, "dbus_bus_get_private") &&
         find(setExitOnDisconnect, "dbus_connection_set_exit_on_disconnect") &&
         find(connect, "dbus_connection_open_private") &&
         find(isConnected, "dbus_connection_get_is_connected") &&
         find(descriptor, "dbus_connection_get_unix_fd") && find(close, "dbus_connection_close") &&
         find(unrefConnection, "dbus_connection_unref") && find(send, "dbus_connection_send") &&
         find(sendAndWait, "dbus_connection_send_with_reply_and_block") &&
         find(readAndWrite, "dbus_connection_read_write") &&
         find(hasToSend, "dbus_connection_has_messages_to_send") &&
         find(waiting, "dbus_connection_get_dispatch_status") &&
         find(pop, "dbus_connection_pop_message") &&
         find(newCall, "dbus_message_new_method_call") &&
         find(setNoReply, "dbus_message_set_no_reply") &&
         find(messageType, "dbus_message_get_type") &&
         find(replySerial, "dbus_message_get_reply_serial") &&
         find(isSignal, "dbus_message_is_signal") && find(sender, "dbus_message_get_sender") &&
         find(path, "dbus_message_get_path") && find(unrefMessage, "dbus_message_unref") &&
         find(appendArguments, "dbus_message_append_args") &&
         find(beginWriting, "dbus_message_iter_init_append") &&
         find(appendBasic, "dbus_message_iter_append_basic") &&
         find(openContainer, "dbus_message_iter_open_container") &&
         find(closeContainer, "dbus_message_iter_close_container") &&
         find(beginReading, "dbus_message_iter_init") &&
         find(argumentType, "dbus_message_iter_get_arg_type") &&
         find(next, "dbus_message_iter_next") && find(recurse, "dbus_message_iter_recurse") &&
         find(getBasic, "dbus_message_iter_get_basic");
}

} // namespace orbi::platform
