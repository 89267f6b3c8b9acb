#pragma once

namespace orbi {

class PDevice;

/// Ends the connections of a device that leaves the studio and takes its ports out of the registry,
/// since others may hold it for long.
void takePortsAway(PDevice& device);
/// Registers those ports again.
void bringPortsBack(PDevice& device);

} // namespace orbi
