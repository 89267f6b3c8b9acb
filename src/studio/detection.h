#pragma once

#include "foundation/object.h"

namespace orbi {

/// What a component answers to that works within the program. Main thread.
class IHostedComponent : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x484F5354, 0x45440001, 1};

  /// The host is the studio, borrowed until terminate. Anything but resultOk: it can't work here,
  /// and is neither asked for anything nor terminated.
  virtual CmResult initialize(FUnknown* host) = 0;
  virtual CmResult terminate() = 0;

protected:
  ~IHostedComponent() = default;
};

/// Who finds devices: what it looks for, by whom it was made, and which part of it.
struct DetectionIdentity {
  const char* name = nullptr; ///< null means the empty text; the texts are the component's
  const char* vendor = nullptr;
  const char* subName = nullptr;
};

/// Looks for devices of one kind, and adds and removes them at its host. A component of the
/// category below that answers to both interfaces is made anew for each search. Main thread.
class IDeviceDetection : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x44455445, 0x43540001, 1};
  static constexpr const char* category = "Device Detection"; ///< among the components

  virtual void getIdentity(DetectionIdentity& identity) = 0;
  virtual void detect() = 0;

protected:
  ~IDeviceDetection() = default;
};

} // namespace orbi
