#pragma once

#include "platform/realtime_layout.h"

#include <cstdint>

namespace orbi {

/// Who fills the device's blocks. process comes on the driver's thread or the device's worker, all
/// else on the main thread.
class LoomDeviceListener {
public:
  virtual void formatChanged(int32_t frames, double sampleRate) = 0; ///< end of each open
  virtual void driverReset(bool failed) = 0;                         ///< after a reset
  virtual void started() = 0;               ///< buffers exist, the driver isn't started yet
  virtual void stopped() = 0;               ///< the buffers are gone
  ORBI_REALTIME virtual void process() = 0; ///< once a block

protected:
  ~LoomDeviceListener() = default;
};

/// Watches the blocks for statistics. On the thread that fills them.
class BlockMeter {
public:
  ORBI_REALTIME_SELDOM virtual void blockBegins() = 0; ///< before process
  ORBI_REALTIME_SELDOM virtual void blockEnds() = 0;   ///< after conversion

protected:
  ~BlockMeter() = default;
};

} // namespace orbi
