#include "foundation/stream_counter.h"

#include "foundation/class_registry.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(FStreamCounter);

int64_t FStreamCounter::write(const void*, int64_t count)
{
  if (count < 1 || count > INT64_MAX - position_)
    return 0;
  moveTo(position_ + count);
  return count;
}

int64_t FStreamCounter::seek(int64_t offset, SeekMode mode)
{
  int64_t target = offset;
  bool fits = true;
  if (mode == SeekMode::current)
    fits = !__builtin_add_overflow(position_, offset, &target);
  else if (mode == SeekMode::end) // minus is meant: most streams add
    fits = !__builtin_sub_overflow(maximum_, offset, &target);
  return fits ? moveTo(target) : position_;
}

int64_t FStreamCounter::moveTo(int64_t position)
{
  position_ = std::max<int64_t>(position, 0);
  maximum_ = std::max(maximum_, position_);
  return position_;
}

} // namespace orbi
