#pragma once

#include "platform/thread.h"

#include <array>

namespace orbi {

/// Finds the threads that a driver started: taken before the driver is opened, compared after. A
/// thread that is found is raised with applyThreadPriority. Sees at most 256 threads of the process
/// and keeps at most 32 new ones.
class FThreadSnapshot {
public:
  FThreadSnapshot(); ///< takes the snapshot

  int compare(); ///< looks for new threads; answers how many
  int newCount() const { return newCount_; }
  platform::ThreadId getThread(int index) const; ///< of the new ones; 0 when there is none

private:
  bool knows(platform::ThreadId thread) const;

  std::array<platform::ThreadId, 256> known_;
  std::array<platform::ThreadId, 32> new_{};
  size_t knownCount_;
  int newCount_ = 0;
};

} // namespace orbi
