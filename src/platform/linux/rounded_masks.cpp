#ifdef ORBI_HAVE_DRAWING

#include "platform/linux/rounded_masks.h"

#include <algorithm>
#include <functional>
#include <numbers>

namespace orbi::platform {

void addRoundedPath(const DrawingLibrary& library, cairo_t* cairo, double left, double top,
                    double width, double height, double radius)
{
  radius = std::min({radius, width / 2, height / 2});
  if (!(radius > 0.0)) {
    library.cairo_rectangle(cairo, left, top, width, height);
    return;
  }
  constexpr double quarter = std::numbers::pi / 2;
  const double right = left + width - radius;
  const double bottom = top + height - radius;
  library.cairo_new_sub_path(cairo);
  library.cairo_arc(cairo, right, top + radius, radius, -quarter, 0.0);
  library.cairo_arc(cairo, right, bottom, radius, 0.0, quarter);
  library.cairo_arc(cairo, left + radius, bottom, radius, quarter, 2 * quarter);
  library.cairo_arc(cairo, left + radius, top + radius, radius, 2 * quarter, 3 * quarter);
  library.cairo_close_path(cairo);
}

size_t RoundedMasks::Hash::operator()(const Shape& shape) const
{
  const std::hash<double> ofDouble;
  size_t hash = static_cast<size_t>(shape.width) * 40503u + static_cast<size_t>(shape.height);
  hash = hash * 31 + ofDouble(shape.radius);
  return hash * 31 + ofDouble(shape.line);
}

cairo_surface_t* RoundedMasks::find(const Shape& shape)
{
  if (shape.width <= 0 || shape.height <= 0 || shape.width > mostPixels / shape.height)
    return nullptr;
  const auto known = masks_.find(shape);
  if (known != masks_.end())
    return known->second;
  if (masks_.size() >= mostMasks)
    clear();
  cairo_surface_t* mask = draw(shape);
  if (mask)
    masks_.emplace(shape, mask);
  return mask;
}

cairo_surface_t* RoundedMasks::draw(const Shape& shape) const
{
  cairo_surface_t* mask =
      library_.cairo_image_surface_create(CAIRO_FORMAT_A8, shape.width, shape.height);
  if (library_.cairo_surface_status(mask) != CAIRO_STATUS_SUCCESS) {
    library_.cairo_surface_destroy(mask);
    return nullptr;
  }
  cairo_t* cairo = library_.cairo_create(mask);
  library_.cairo_set_source_rgba(cairo, 1.0, 1.0, 1.0, 1.0);
  const double half = shape.line / 2;
  addRoundedPath(library_, cairo, half, half, shape.width - shape.line, shape.height - shape.line,
                 shape.radius - half);
  if (shape.line > 0.0) {
    library_.cairo_set_line_width(cairo, shape.line);
    library_.cairo_stroke(cairo);
  } else {
    library_.cairo_fill(cairo);
  }
  library_.cairo_destroy(cairo);
  return mask;
}

void RoundedMasks::clear()
{
  for (const auto& [shape, mask] : masks_)
    library_.cairo_surface_destroy(mask);
  masks_.clear();
}

} // namespace orbi::platform

#endif
