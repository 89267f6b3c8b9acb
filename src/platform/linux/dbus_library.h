#pragma once

#include "platform/linux/system_library.h"

#include <cstdint>

namespace orbi::platform {

struct DBusConnection;
struct DBusMessage;

/// The caller's memory, more than the library's own structure takes.
struct DBusMessageIter {
  void* content[24];
};

/// Codes of the types in a message.
enum DBusType : int {
  dbusInvalid = 0,
  dbusByte = 'y',
  dbusBoolean = 'b', ///< of 32 bits
  dbusInt32 = 'i',
  dbusUint32 = 'u',
  dbusInt64 = 'x',
  dbusUint64 = 't',
  dbusString = 's',
  dbusObjectPath = 'o',
  dbusArray = 'a',
  dbusVariant = 'v',
  dbusStructure = 'r',
  dbusEntry = 'e' ///< of a dictionary
};

/// The functions of libdbus that are used, found when they are first needed: neither the build nor
/// the start of the program depends on it. The library ends the program over a text that isn't
/// UTF-8 and over a path that isn't an object's, so whoever calls sees to that.
struct DBusLibrary {
  bool load(); ///< false when it isn't installed

  // Connections
  DBusConnection* (*getBus)(int bus, void* error) = nullptr; ///< waits for the bus's answer
  void (*setExitOnDisconnect)(DBusConnection*, unsigned exits) = nullptr;
  DBusConnection* (*connect)(const char* address, void* error) = nullptr; ///< doesn't wait
  unsigned (*isConnected)(DBusConnection*) = nullptr;
  unsigned (*descriptor)(DBusConnection*, int* descriptor) = nullptr;
  void (*close)(DBusConnection*) = nullptr;
  void (*unrefConnection)(DBusConnection*) = nullptr;
  unsigned (*send)(DBusConnection*, DBusMessage*, std::uint32_t* serial) = nullptr;
  DBusMessage* (*sendAndWait)(DBusConnection*, DBusMessage*, int milliseconds,
                              void* error) = nullptr;
  unsigned (*readAndWrite)(DBusConnection*, int milliseconds) = nullptr;
  unsigned (*hasToSend)(DBusConnection*) = nullptr;
  int (*waiting)(DBusConnection*) = nullptr; ///< 0: there is something to pop
  DBusMessage* (*pop)(DBusConnection*) = nullptr;

  // Messages
  DBusMessage* (*newCall)(const char* service, const char* path, const char* face,
                          const char* name) = nullptr;
  void (*setNoReply)(DBusMessage*, unsigned none) = nullptr;
  int (*messageType)(DBusMessage*) = nullptr;
  std::uint32_t (*replySerial)(DBusMessage*) = nullptr;
  unsigned (*isSignal)(DBusMessage*, const char* face, const char* name) = nullptr;
  const char* (*sender)(DBusMessage*) = nullptr;
  const char* (*path)(DBusMessage*) = nullptr;
  void (*unrefMessage)(DBusMessage*) = nullptr;

  // Arguments, written
  unsigned (*appendArguments)(DBusMessage*, int firstType, ...) = nullptr;
  void (*beginWriting)(DBusMessage*, DBusMessageIter*) = nullptr;
  unsigned (*appendBasic)(DBusMessageIter*, int type, const void* value) = nullptr;
  unsigned (*openContainer)(DBusMessageIter*, int type, const char* signature,
                            DBusMessageIter* inner) = nullptr;
  unsigned (*closeContainer)(DBusMessageIter*, DBusMessageIter* inner) = nullptr;

  // Arguments, read
  unsigned (*beginReading)(DBusMessage*, DBusMessageIter*) = nullptr; ///< 0: there are none
  int (*argumentType)(DBusMessageIter*) = nullptr;
  unsigned (*next)(DBusMessageIter*) = nullptr;
  void (*recurse)(DBusMessageIter*, DBusMessageIter* inner) = nullptr;
  void (*getBasic)(DBusMessageIter*, void* value) = nullptr;

private:
  SystemLibrary library_;
};

} // namespace orbi::platform
