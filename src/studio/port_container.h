#pragma once

#include "foundation/object.h"

namespace orbi {

/// A device whose ports are connected by those who know only interfaces. Main thread.
class IPortContainer : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x504F5254, 0x434F4E01, 1};

  /// Connects the port, and nothing else, to the device's first one of the other direction; null
  /// disconnects all of the device's ports. resultBadArgument for what is no port and for one of
  /// another type, resultFailed when the device has none that fits or they don't connect.
  virtual CmResult connectPort(FUnknown* port) = 0;
  virtual bool isPortConnected(FUnknown* port) = 0; ///< to the one that connectPort would take

protected:
  ~IPortContainer() = default;
};

} // namespace orbi
