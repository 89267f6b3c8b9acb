#include "ui/views/point.h"

#include "foundation/class_registry.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(UPoint);

namespace {

/// Kept where sums and scales of it can't overflow.
int32_t bounded(int64_t value)
{
  constexpr int64_t farthest = 1000000;
  return static_cast<int32_t>(std::clamp(value, -farthest, farthest));
}

} // namespace

bool UPoint::storeAttributes(FAttributes& attributes) const
{
  attributes.setInt("X", x);
  attributes.setInt("Y", y);
  return true;
}

bool UPoint::loadAttributes(const FAttributes& attributes)
{
  x = bounded(attributes.getInt("X"));
  y = bounded(attributes.getInt("Y"));
  return true;
}

} // namespace orbi
