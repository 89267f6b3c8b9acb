#pragma once

#include <algorithm>
#include <cstdint>

namespace orbi::platform {

struct Point {
  int32_t x = 0;
  int32_t y = 0;
  friend constexpr bool operator==(const Point&, const Point&) = default;
};

struct Size {
  int32_t width = 0;
  int32_t height = 0;
  friend constexpr bool operator==(const Size&, const Size&) = default;
};

/// Right and bottom lie outside. One whose right isn't above its left, or bottom above its top, is
/// empty.
struct Rect {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;

  static constexpr Rect at(Point origin, Size size)
  {
    return {origin.x, origin.y, origin.x + size.width, origin.y + size.height};
  }

  constexpr int32_t width() const { return right - left; }
  constexpr int32_t height() const { return bottom - top; }
  constexpr Point origin() const { return {left, top}; }
  constexpr Size size() const { return {width(), height()}; }
  constexpr Point middle() const { return {left + width() / 2, top + height() / 2}; }
  constexpr bool isEmpty() const { return right <= left || bottom <= top; }

  constexpr bool contains(Point p) const
  {
    return p.x >= left && p.x < right && p.y >= top && p.y < bottom;
  }
  constexpr Rect movedBy(int32_t x, int32_t y) const
  {
    return {left + x, top + y, right + x, bottom + y};
  }
  constexpr Rect grownBy(int32_t x, int32_t y) const
  {
    return {left - x, top - y, right + x, bottom + y};
  }
  constexpr Rect intersectedWith(const Rect& r) const
  {
    return {std::max(left, r.left), std::max(top, r.top), std::min(right, r.right),
            std::min(bottom, r.bottom)};
  }
  /// The smallest that holds both; an empty one counts for nothing.
  constexpr Rect unitedWith(const Rect& r) const
  {
    if (isEmpty())
      return r;
    if (r.isEmpty())
      return *this;
    return {std::min(left, r.left), std::min(top, r.top), std::max(right, r.right),
            std::max(bottom, r.bottom)};
  }
  friend constexpr bool operator==(const Rect&, const Rect&) = default;
};

} // namespace orbi::platform
