#pragma once

#include "foundation/object.h"

namespace orbi {

/// Takes a text that is handed out to callers who know only interfaces.
class IStringSink : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x53545253, 0x494E4B01, 1};

  virtual CmResult setText(const char* text) = 0; ///< copied by the sink

protected:
  ~IStringSink() = default;
};

/// A port as those see it who know only interfaces. Main thread. Texts belong to the port and hold
/// until the next question.
class IPort : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x504F5254, 0x49460001, 1};

  virtual CmResult getIDText(IStringSink* sink) = 0;
  virtual bool isType(const char* type) const = 0; ///< false for null, as isSubtype
  virtual bool isSubtype(const char* subtype) const = 0;
  virtual bool isOutput() const = 0;
  virtual const char* getNameText() = 0;
  virtual const char* getDeviceNameText() = 0;
  virtual const char* getDisplayNameText(bool withUserName) = 0; ///< else the system's name
  virtual bool disconnectAll() = 0;
  virtual bool isVisible() const = 0;
  virtual void setVisible(bool visible) = 0; ///< a change gives the registry's notice
  virtual bool isConnected() const = 0;

protected:
  ~IPort() = default;
};

/// What an audio port answers to that has a part in an arrangement of channels.
class IPortRole : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x504F5254, 0x524F4C01, 1};

  virtual const char* getRoleText() = 0; ///< null for none

protected:
  ~IPortRole() = default;
};

/// The registry as those see it who know only interfaces. Main thread. Ports are handed out
/// borrowed.
class IPortRegistry : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x504F5254, 0x52454701, 1};

  virtual int32_t countPorts() = 0;
  virtual IPort* portAt(int32_t index) = 0; ///< null outside
  virtual IPort* findPortByID(const char* id) = 0;
  /// resultBadArgument for null and what is no port, resultFailed for one that isn't registered.
  virtual CmResult unregisterExternalPort(FUnknown* port) = 0;
  virtual CmResult makePortID(IStringSink* sink, const char* deviceName, const char* portName,
                              bool isOutput) = 0;

protected:
  ~IPortRegistry() = default;
};

} // namespace orbi
