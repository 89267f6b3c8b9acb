#pragma once

#include <algorithm>
#include <cstdint>

namespace soundfont {

// Places and lengths are in units: a pixel where the screen's scale is 1.

struct Point {
  double x = 0;
  double y = 0;
};

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  double right() const { return x + width; }
  double bottom() const { return y + height; }
  Point center() const { return {x + width / 2, y + height / 2}; }
  bool empty() const { return width <= 0 || height <= 0; }
  bool contains(Point p) const { return p.x >= x && p.x < right() && p.y >= y && p.y < bottom(); }
  bool meets(const Rect& r) const
  {
    return x < r.right() && r.x < right() && y < r.bottom() && r.y < bottom();
  }
  Rect inset(double by) const { return {x + by, y + by, width - 2 * by, height - 2 * by}; }
  Rect with(const Rect& r) const ///< the smallest that holds both; an empty one counts for nothing
  {
    if (empty() || r.empty())
      return empty() ? r : *this;
    const double left = std::min(x, r.x), top = std::min(y, r.y);
    return {left, top, std::max(right(), r.right()) - left, std::max(bottom(), r.bottom()) - top};
  }
  bool operator==(const Rect&) const = default;
};

struct Color {
  uint32_t rgb = 0; ///< 0xRRGGBB
  double alpha = 1.0;
  constexpr Color at(double share) const { return {rgb, alpha * share}; }
};

/// The color that lies this far (0 to 1) on the way.
constexpr Color mix(Color from, Color to, double share)
{
  uint32_t rgb = 0;
  for (int shift : {16, 8, 0}) {
    const double low = from.rgb >> shift & 0xFF, high = to.rgb >> shift & 0xFF;
    rgb |= static_cast<uint32_t>(low + (high - low) * share + 0.5) << shift;
  }
  return {rgb, from.alpha + (to.alpha - from.alpha) * share};
}

} // namespace soundfont
