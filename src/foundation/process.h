#pragma once

#include "platform/thread.h"

namespace orbi {

/// High or normal, for all threads of the program. False where the system refuses.
inline bool setHighPriorityClass(bool high)
{
  return platform::setProcessPriority(high ? platform::ProcessPriority::high
                                           : platform::ProcessPriority::normal);
}

/// Whether a thread that wakes up is favoured for a moment. False where the system knows no boost.
inline bool setPriorityBoostEnabled(bool enabled)
{
  return platform::setProcessPriorityBoost(enabled);
}

} // namespace orbi
