#pragma once

#include "foundation/attributes.h"
#include "platform/canvas.h"
#include "platform/geometry.h"

namespace orbi {

// Views measure in units of 1/96 inch. A window turns them into pixels.
using platform::Canvas;
using platform::Point;
using platform::Rect;
using platform::Size;

/// A point, or a size, where an object is asked for: in settings and as an argument of messages.
class UPoint final : public CmClass<UPoint, CmObject> {
public:
  static constexpr const char* className = "UPoint";

  explicit UPoint(int32_t x = 0, int32_t y = 0) : x(x), y(y) {}
  explicit UPoint(Point point) : x(point.x), y(point.y) {}
  explicit UPoint(Size size) : x(size.width), y(size.height) {}

  Point point() const { return {x, y}; }
  Size size() const { return {x, y}; }

  bool storeAttributes(FAttributes& attributes) const override; ///< "X", "Y"
  bool loadAttributes(const FAttributes& attributes) override;

  int32_t x;
  int32_t y;
};

} // namespace orbi
