#pragma once

#include "platform/thread.h"

#include <sys/types.h>

/// What the kernel is asked about scheduling, for any thread of this process.
namespace orbi::platform::scheduling {

bool isRealtime(pid_t thread); ///< runs under a real-time policy now
int realtimePriority(pid_t thread);

/// Tries the process's own right and then the RealtimeKit service. True only if the thread runs
/// under a real-time policy afterwards.
bool makeRealtime(pid_t thread, int priority);

/// Back to time sharing with this nice value.
bool makeOrdinary(pid_t thread, int nice);

} // namespace orbi::platform::scheduling
