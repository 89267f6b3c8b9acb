#pragma once

#include <sys/types.h>

/// The service that grants real-time scheduling to processes without the right of their own.
namespace orbi::platform::realtime_kit {

/// Asks over the system's D-Bus, whose library is loaded on the first call. Waits for the answer,
/// at most half a second. False where the service doesn't run or refuses; a bus that couldn't be
/// reached once isn't tried again. Any thread.
bool makeRealtime(pid_t thread, int priority);

} // namespace orbi::platform::realtime_kit
