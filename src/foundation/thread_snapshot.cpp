#include "foundation/thread_snapshot.h"

#include <algorithm>

namespace orbi {

FThreadSnapshot::FThreadSnapshot() : knownCount_(platform::listThreadIds(known_)) {}

bool FThreadSnapshot::knows(platform::ThreadId thread) const
{
  const auto* end = known_.begin() + knownCount_;
  return std::find(known_.begin(), end, thread) != end;
}

int FThreadSnapshot::compare()
{
  std::array<platform::ThreadId, 256> now;
  const size_t count = platform::listThreadIds(now);
  newCount_ = 0;
  for (size_t i = 0; i < count && newCount_ < static_cast<int>(new_.size()); ++i)
    if (!knows(now[i]))
      new_[static_cast<size_t>(newCount_++)] = now[i];
  return newCount_;
}

platform::ThreadId FThreadSnapshot::getThread(int index) const
{
  return index >= 0 && index < newCount_ ? new_[static_cast<size_t>(index)] : 0;
}

} // namespace orbi
