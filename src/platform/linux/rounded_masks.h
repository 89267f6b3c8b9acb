#pragma once

#include "platform/linux/drawing_library.h"

#include <unordered_map>

namespace orbi::platform {

/// Small rectangles with round corners, which panels are full of, drawn once for each size: to lay
/// a colour through a mask takes a fifth of what the path takes. All in pixels.
class RoundedMasks {
public:
  struct Shape {
    int32_t width = 0;
    int32_t height = 0;
    double radius = 0.0;
    double line = 0.0; ///< 0: filled; else the width of a line that lies inside
    friend bool operator==(const Shape&, const Shape&) = default;
  };

  explicit RoundedMasks(const DrawingLibrary& library) : library_(library) {}
  ~RoundedMasks() { clear(); }
  RoundedMasks(const RoundedMasks&) = delete;

  /// Null for what is drawn by its path: it is large, or cairo has no memory. Valid until the next
  /// call.
  cairo_surface_t* find(const Shape& shape);

private:
  static constexpr int32_t mostPixels = 128 * 64;
  static constexpr size_t mostMasks = 100;

  struct Hash {
    size_t operator()(const Shape& shape) const;
  };

  cairo_surface_t* draw(const Shape& shape) const;
  void clear();

  const DrawingLibrary& library_;
  std::unordered_map<Shape, cairo_surface_t*, Hash> masks_;
};

/// Adds a rectangle to the path; the radius is bounded by its sides.
void addRoundedPath(const DrawingLibrary& library, cairo_t* cairo, double left, double top,
                    double width, double height, double radius);

} // namespace orbi::platform
