#ifdef ORBI_HAVE_DRAWING

#include "platform/linux/cairo_canvas.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orbi::platform {

namespace {

double unit(uint8_t channel)
{
  return channel / 255.0;
}

/// cairo stops drawing for good once a matrix can't be turned back.
bool usable(double factor)
{
  return std::isfinite(factor) && std::abs(factor) > 1e-6 && std::abs(factor) < 1e6;
}

double shareOf(double room, Justify justify)
{
  constexpr double shares[] = {0.0, 0.5, 1.0};
  return room * shares[static_cast<int>(justify)];
}

double shareOf(double room, Align align)
{
  return shareOf(room, static_cast<Justify>(align));
}

/// From a double, which may be far off.
int32_t coordinate(double value)
{
  return static_cast<int32_t>(std::clamp(value, -1e9, 1e9));
}

} // namespace

CairoCanvas::CairoCanvas(const DrawingLibrary& library, DrawingCaches& caches,
                         cairo_surface_t* surface, Point origin)
    : library_(library), caches_(caches), cairo_(library.cairo_create(surface))
{
  library_.cairo_translate(cairo_, -origin.x, -origin.y);
}

CairoCanvas::~CairoCanvas()
{
  library_.cairo_destroy(cairo_);
}

void CairoCanvas::clipToRegion(const std::vector<Rect>& region)
{
  for (const Rect& rect : region)
    addRect(rect);
  library_.cairo_clip(cairo_);
}

void CairoCanvas::clear()
{
  library_.cairo_save(cairo_);
  library_.cairo_set_operator(cairo_, CAIRO_OPERATOR_CLEAR);
  library_.cairo_paint(cairo_);
  library_.cairo_restore(cairo_);
}

// ---- what holds for all that follows ------------------------------------------------------------

void CairoCanvas::save()
{
  library_.cairo_save(cairo_);
  savedOpacities_.push_back(opacity_);
}

void CairoCanvas::restore()
{
  if (savedOpacities_.empty())
    return;
  library_.cairo_restore(cairo_);
  opacity_ = savedOpacities_.back();
  savedOpacities_.pop_back();
}

void CairoCanvas::translate(double x, double y)
{
  if (std::isfinite(x) && std::isfinite(y))
    library_.cairo_translate(cairo_, x, y);
}

void CairoCanvas::scale(double factor)
{
  if (usable(factor))
    library_.cairo_scale(cairo_, factor, factor);
}

void CairoCanvas::clip(const Rect& rect)
{
  addRect(rect);
  library_.cairo_clip(cairo_);
}

Rect CairoCanvas::clipBounds() const
{
  double left, top, right, bottom;
  library_.cairo_clip_extents(cairo_, &left, &top, &right, &bottom);
  return {coordinate(std::floor(left)), coordinate(std::floor(top)), coordinate(std::ceil(right)),
          coordinate(std::ceil(bottom))};
}

void CairoCanvas::setOpacity(double share)
{
  opacity_ = std::isfinite(share) ? std::clamp(share, 0.0, 1.0) : 1.0;
}

// ---- shapes -------------------------------------------------------------------------------------

void CairoCanvas::setColor(Color color)
{
  library_.cairo_set_source_rgba(cairo_, unit(color.red), unit(color.green), unit(color.blue),
                                 unit(color.alpha) * opacity_);
}

/// Where a rectangle falls, with its edges on whole pixels; nothing when it is turned.
std::optional<CairoCanvas::Pixels> CairoCanvas::pixelsOf(const Rect& rect)
{
  Pixels result;
  library_.cairo_get_matrix(cairo_, &result.matrix);
  const cairo_matrix_t& matrix = result.matrix;
  if (matrix.xy != 0.0 || matrix.yx != 0.0 || matrix.yy != matrix.xx || !(matrix.xx > 0.0))
    return {};
  const auto at = [&](int32_t unit, double origin) {
    return coordinate(std::round(unit * matrix.xx + origin));
  };
  result.rect = {at(rect.left, matrix.x0), at(rect.top, matrix.y0), at(rect.right, matrix.x0),
                 at(rect.bottom, matrix.y0)};
  return result;
}

/// Edges lie on whole pixels, so that what touches doesn't shine through at any scale.
void CairoCanvas::addRect(const Rect& rect)
{
  if (rect.isEmpty())
    return;
  const auto pixels = pixelsOf(rect);
  const Rect& where = pixels ? pixels->rect : rect;
  if (pixels)
    library_.cairo_identity_matrix(cairo_);
  library_.cairo_rectangle(cairo_, where.left, where.top, double(where.right) - where.left,
                           double(where.bottom) - where.top);
  if (pixels)
    library_.cairo_set_matrix(cairo_, &pixels->matrix);
}

/// A rectangle with round corners, or its frame, on whole pixels; the colour is set. Small ones by
/// a mask that is kept.
void CairoCanvas::paintRounded(const Rect& rect, double radius, double line)
{
  const auto pixels = pixelsOf(rect);
  const double scale = pixels ? pixels->matrix.xx : 1.0;
  const Rect& where = pixels ? pixels->rect : rect;
  const double width = line > 0.0 ? std::max(std::round(line * scale), 1.0) : 0.0;
  cairo_surface_t* mask =
      pixels ? caches_.masks.find({where.width(), where.height(), radius * scale, width}) : nullptr;
  if (pixels)
    library_.cairo_identity_matrix(cairo_);
  if (mask) {
    library_.cairo_mask_surface(cairo_, mask, where.left, where.top);
  } else {
    addRoundedPath(library_, cairo_, where.left + width / 2, where.top + width / 2,
                   where.width() - width, where.height() - width, radius * scale - width / 2);
    library_.cairo_set_line_width(cairo_, width);
    library_.cairo_set_line_join(cairo_, CAIRO_LINE_JOIN_MITER);
    if (width > 0.0)
      library_.cairo_stroke(cairo_);
    else
      library_.cairo_fill(cairo_);
  }
  if (pixels)
    library_.cairo_set_matrix(cairo_, &pixels->matrix);
}

void CairoCanvas::addPath(std::span<const Vertex> corners)
{
  for (const Vertex& corner : corners)
    library_.cairo_line_to(cairo_, corner.x, corner.y);
}

void CairoCanvas::fill(const Rect& rect, Color color)
{
  addRect(rect);
  setColor(color);
  library_.cairo_fill(cairo_);
}

void CairoCanvas::fillVertical(const Rect& rect, double radius, Color top, Color bottom)
{
  if (rect.isEmpty())
    return;
  cairo_pattern_t* gradient = library_.cairo_pattern_create_linear(0.0, rect.top, 0.0, rect.bottom);
  double place = 0.0;
  for (const Color color : {top, bottom}) {
    library_.cairo_pattern_add_color_stop_rgba(gradient, place, unit(color.red), unit(color.green),
                                               unit(color.blue), unit(color.alpha) * opacity_);
    place = 1.0;
  }
  library_.cairo_set_source(cairo_, gradient);
  addRoundedPath(library_, cairo_, rect.left, rect.top, rect.width(), rect.height(), radius);
  library_.cairo_fill(cairo_);
  library_.cairo_pattern_destroy(gradient);
}

void CairoCanvas::fillRounded(const Rect& rect, double radius, Color color)
{
  if (rect.isEmpty())
    return;
  if (!(radius > 0.0)) {
    fill(rect, color);
    return;
  }
  setColor(color);
  paintRounded(rect, radius, 0.0);
}

void CairoCanvas::frame(const Rect& rect, double radius, double width, Color color)
{
  if (rect.isEmpty() || !(width > 0.0))
    return;
  if (2 * width >= std::min(rect.width(), rect.height())) { // the line meets itself
    fillRounded(rect, radius, color);
    return;
  }
  setColor(color);
  paintRounded(rect, radius, width);
}

void CairoCanvas::line(Vertex from, Vertex to, double width, Color color)
{
  const Vertex corners[] = {from, to};
  polyline(corners, width, color);
}

void CairoCanvas::fillPolygon(std::span<const Vertex> corners, Color color)
{
  setColor(color);
  addPath(corners);
  library_.cairo_fill(cairo_);
}

void CairoCanvas::polyline(std::span<const Vertex> corners, double width, Color color)
{
  if (corners.size() < 2 || !(width > 0.0))
    return;
  setColor(color);
  library_.cairo_set_line_width(cairo_, width);
  library_.cairo_set_line_cap(cairo_, CAIRO_LINE_CAP_BUTT);
  library_.cairo_set_line_join(cairo_, CAIRO_LINE_JOIN_ROUND);
  addPath(corners);
  library_.cairo_stroke(cairo_);
}

void CairoCanvas::arc(Vertex center, double radius, double from, double to, double width,
                      Color color)
{
  if (!(radius > 0.0) || !(width > 0.0) || !std::isfinite(from) || !std::isfinite(to))
    return;
  setColor(color);
  library_.cairo_set_line_width(cairo_, width);
  library_.cairo_set_line_cap(cairo_, CAIRO_LINE_CAP_ROUND);
  // More than a full turn shows nothing new, and cairo would draw each.
  to = std::clamp(to, from - 2 * std::numbers::pi, from + 2 * std::numbers::pi);
  library_.cairo_new_sub_path(cairo_);
  library_.cairo_arc(cairo_, center.x, center.y, radius, std::min(from, to), std::max(from, to));
  library_.cairo_stroke(cairo_);
}

// ---- text and pictures --------------------------------------------------------------------------

void CairoCanvas::text(std::string_view text, const Rect& rect, const TextStyle& style)
{
  if (text.empty() || rect.isEmpty())
    return;
  TextLayouts::Shape shape;
  shape.justify = style.justify;
  shape.wraps = style.wraps;
  shape.ellipsis = style.overflow == Overflow::ellipsis;
  if (shape.wraps || shape.ellipsis)
    shape.width = rect.width();
  if (shape.wraps && shape.ellipsis)
    shape.height = rect.height();
  const TextLayouts::Layout& layout = caches_.layouts.find(text, style.font, shape);

  // With a width of its own the layout has the text where it belongs already.
  const double room = rect.width() - layout.width;
  const double left = rect.left + (shape.width < 0.0 ? shareOf(room, style.justify) : 0.0);
  const double top = rect.top + shareOf(rect.height() - layout.height, style.align);
  const bool fits = layout.width <= rect.width() && layout.height <= rect.height();
  library_.cairo_save(cairo_);
  if (!fits)
    clip(rect);
  setColor(style.color);
  library_.cairo_move_to(cairo_, left, top);
  library_.pango_cairo_show_layout(cairo_, layout.pango);
  library_.cairo_new_path(cairo_);
  library_.cairo_restore(cairo_);
}

void CairoCanvas::image(Image& image, const Rect& from, const Rect& to)
{
  const std::span<uint32_t> pixels = image.pixels();
  const Size size = image.size();
  if (pixels.empty() || from.isEmpty() || to.isEmpty())
    return;
  cairo_surface_t* whole = library_.cairo_image_surface_create_for_data(
      reinterpret_cast<unsigned char*>(pixels.data()), CAIRO_FORMAT_ARGB32, size.width, size.height,
      size.width * 4);
  // A part of its own, so that smoothing never reaches what lies beside it.
  cairo_surface_t* part = library_.cairo_surface_create_for_rectangle(whole, from.left, from.top,
                                                                      from.width(), from.height());
  library_.cairo_save(cairo_);
  clip(to);
  library_.cairo_translate(cairo_, to.left, to.top);
  library_.cairo_scale(cairo_, double(to.width()) / from.width(),
                       double(to.height()) / from.height());
  library_.cairo_set_source_surface(cairo_, part, 0.0, 0.0);
  cairo_pattern_t* pattern = library_.cairo_get_source(cairo_);
  library_.cairo_pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
  library_.cairo_pattern_set_filter(pattern, CAIRO_FILTER_GOOD);
  library_.cairo_paint_with_alpha(cairo_, opacity_);
  library_.cairo_restore(cairo_);
  library_.cairo_surface_destroy(part);
  library_.cairo_surface_destroy(whole);
}

} // namespace orbi::platform

#endif
