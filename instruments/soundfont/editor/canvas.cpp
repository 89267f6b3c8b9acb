#include "soundfont/editor/canvas.h"

#include <cmath>
#include <numbers>

namespace soundfont {

namespace {

constexpr std::string_view ellipsis = "\u2026";
constexpr double lineHeight = 0.73; // of capitals, in a font's size

/// Length of the UTF-8 sequence that text begins with, or 0 when it is none.
size_t sequenceLength(std::string_view text)
{
  const auto first = static_cast<unsigned char>(text[0]);
  const size_t length = first < 0x80                    ? 1
                        : first >= 0xC2 && first < 0xE0 ? 2
                        : first >= 0xE0 && first < 0xF0 ? 3
                        : first >= 0xF0 && first < 0xF5 ? 4
                                                        : 0;
  if (length > text.size())
    return 0;
  for (size_t i = 1; i < length; ++i)
    if ((text[i] & 0xC0) != 0x80)
      return 0;
  const auto second = length > 1 ? static_cast<unsigned char>(text[1]) : 0;
  const bool tooLong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
  const bool beyond = (first == 0xED && second > 0x9F) || (first == 0xF4 && second > 0x8F);
  return tooLong || beyond ? 0 : length;
}

/// Names in SoundFonts are bytes of unknown kind; one wrong byte would end all drawing.
std::string drawable(std::string_view text)
{
  std::string result;
  while (!text.empty()) {
    const size_t length = sequenceLength(text);
    const auto byte = static_cast<unsigned char>(text[0]);
    if (length > 1 || (length == 1 && byte >= 0x20 && byte != 0x7F)) {
      result += text.substr(0, length);
    } else if (byte >= 0xA0) {
      result += static_cast<char>(0xC0 | byte >> 6);
      result += static_cast<char>(0x80 | (byte & 0x3F));
    } else {
      result += ' ';
    }
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return result;
}

} // namespace

Canvas::Canvas(const CairoLibrary& cairo, double width, double height, double scale)
    : cairo_(cairo), scale_(scale), pixelWidth_(static_cast<int>(std::lround(width * scale))),
      pixelHeight_(static_cast<int>(std::lround(height * scale))),
      surface_(cairo.cairo_image_surface_create(CAIRO_FORMAT_RGB24, pixelWidth_, pixelHeight_),
               {&cairo}),
      context_(cairo.cairo_create(surface_.get()), {&cairo})
{
  cairo_font_options_t* options = cairo.cairo_font_options_create();
  cairo.cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  cairo.cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
  cairo.cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo.cairo_set_font_options(context_.get(), options);
  cairo.cairo_font_options_destroy(options);
  cairo.cairo_scale(context_.get(), scale, scale);
}

bool Canvas::isGood() const
{
  return cairo_.cairo_surface_status(surface_.get()) == CAIRO_STATUS_SUCCESS &&
         cairo_.cairo_status(context_.get()) == CAIRO_STATUS_SUCCESS;
}

const uint8_t* Canvas::row(int y)
{
  cairo_.cairo_surface_flush(surface_.get());
  return cairo_.cairo_image_surface_get_data(surface_.get()) +
         static_cast<ptrdiff_t>(y) * cairo_.cairo_image_surface_get_stride(surface_.get());
}

void Canvas::begin(const Rect& area)
{
  const double left = std::floor(area.x * scale_), top = std::floor(area.y * scale_);
  cairo_.cairo_save(context_.get());
  cairo_.cairo_rectangle(context_.get(), left / scale_, top / scale_,
                         (std::ceil(area.right() * scale_) - left) / scale_,
                         (std::ceil(area.bottom() * scale_) - top) / scale_);
  cairo_.cairo_clip(context_.get());
}

void Canvas::end()
{
  cairo_.cairo_restore(context_.get());
}

void Canvas::use(Color color)
{
  cairo_.cairo_set_source_rgba(context_.get(), (color.rgb >> 16 & 0xFF) / 255.0,
                               (color.rgb >> 8 & 0xFF) / 255.0, (color.rgb & 0xFF) / 255.0,
                               color.alpha);
}

void Canvas::useGradient(double fromY, double toY, Color top, Color bottom)
{
  cairo_pattern_t* pattern = cairo_.cairo_pattern_create_linear(0, fromY, 0, toY);
  for (const auto& [offset, color] : {std::pair{0.0, top}, {1.0, bottom}})
    cairo_.cairo_pattern_add_color_stop_rgba(pattern, offset, (color.rgb >> 16 & 0xFF) / 255.0,
                                             (color.rgb >> 8 & 0xFF) / 255.0,
                                             (color.rgb & 0xFF) / 255.0, color.alpha);
  cairo_.cairo_set_source(context_.get(), pattern);
  cairo_.cairo_pattern_destroy(pattern);
}

void Canvas::roundedPath(const Rect& rect, double radius)
{
  constexpr double quarter = std::numbers::pi / 2;
  const double r = std::min({radius, rect.width / 2, rect.height / 2});
  cairo_t* to = context_.get();
  cairo_.cairo_new_path(to);
  cairo_.cairo_arc(to, rect.right() - r, rect.y + r, r, -quarter, 0);
  cairo_.cairo_arc(to, rect.right() - r, rect.bottom() - r, r, 0, quarter);
  cairo_.cairo_arc(to, rect.x + r, rect.bottom() - r, r, quarter, 2 * quarter);
  cairo_.cairo_arc(to, rect.x + r, rect.y + r, r, 2 * quarter, 3 * quarter);
  cairo_.cairo_close_path(to);
}

void Canvas::fill(const Rect& rect, Color color)
{
  const Rect at = snapped(rect);
  use(color);
  cairo_.cairo_rectangle(context_.get(), at.x, at.y, at.width, at.height);
  cairo_.cairo_fill(context_.get());
}

void Canvas::fillRounded(const Rect& rect, double radius, Color color)
{
  use(color);
  roundedPath(snapped(rect), radius);
  cairo_.cairo_fill(context_.get());
}

void Canvas::fillRounded(const Rect& rect, double radius, Color top, Color bottom)
{
  const Rect at = snapped(rect);
  useGradient(at.y, at.bottom(), top, bottom);
  roundedPath(at, radius);
  cairo_.cairo_fill(context_.get());
}

void Canvas::frameRounded(const Rect& rect, double radius, Color color)
{
  use(color);
  roundedPath(snapped(rect).inset(pixel() / 2), radius);
  cairo_.cairo_set_line_width(context_.get(), pixel());
  cairo_.cairo_stroke(context_.get());
}

void Canvas::fillCircle(Point center, double radius, Color color)
{
  fillCircle(center, radius, color, color);
}

void Canvas::fillCircle(Point center, double radius, Color top, Color bottom)
{
  useGradient(center.y - radius, center.y + radius, top, bottom);
  cairo_.cairo_new_path(context_.get());
  cairo_.cairo_arc(context_.get(), center.x, center.y, radius, 0, 2 * std::numbers::pi);
  cairo_.cairo_fill(context_.get());
}

void Canvas::arc(Point center, double radius, double from, double to, double thickness, Color color)
{
  use(color);
  cairo_.cairo_new_path(context_.get());
  cairo_.cairo_arc(context_.get(), center.x, center.y, radius, from, to);
  cairo_.cairo_set_line_cap(context_.get(), CAIRO_LINE_CAP_ROUND);
  cairo_.cairo_set_line_width(context_.get(), thickness);
  cairo_.cairo_stroke(context_.get());
}

void Canvas::line(Point from, Point to, double thickness, Color color)
{
  use(color);
  cairo_.cairo_new_path(context_.get());
  cairo_.cairo_move_to(context_.get(), from.x, from.y);
  cairo_.cairo_line_to(context_.get(), to.x, to.y);
  cairo_.cairo_set_line_cap(context_.get(), CAIRO_LINE_CAP_ROUND);
  cairo_.cairo_set_line_width(context_.get(), thickness);
  cairo_.cairo_stroke(context_.get());
}

void Canvas::useFont(const TextStyle& style)
{
  cairo_.cairo_select_font_face(context_.get(), "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                                style.bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
  cairo_.cairo_set_font_size(context_.get(), style.size);
}

cairo_text_extents_t Canvas::extents(const std::string& text)
{
  cairo_text_extents_t result{};
  cairo_.cairo_text_extents(context_.get(), text.c_str(), &result);
  return result;
}

double Canvas::widthOf(std::string_view text, const TextStyle& style)
{
  useFont(style);
  return extents(drawable(text)).x_advance;
}

void Canvas::text(const Rect& rect, std::string_view text, const TextStyle& style)
{
  if (rect.width <= 0)
    return;
  useFont(style);
  std::string shown = drawable(text);
  double width = extents(shown).x_advance;
  if (width > rect.width) {
    std::string shorter = shown;
    while (!shorter.empty() && width > rect.width) {
      while ((shorter.back() & 0xC0) == 0x80) // the rest of a character
        shorter.pop_back();
      shorter.pop_back();
      shown = shorter + std::string(ellipsis);
      width = extents(shown).x_advance;
    }
  }
  const double room = rect.width - width;
  const double x = rect.x + (style.justify == Justify::left     ? 0
                             : style.justify == Justify::center ? room / 2
                                                                : room);
  const double y = rect.y + (rect.height + style.size * lineHeight) / 2;
  use(style.color);
  cairo_.cairo_move_to(context_.get(), snapped(x), snapped(y));
  cairo_.cairo_show_text(context_.get(), shown.c_str());
  cairo_.cairo_new_path(context_.get());
}

double Canvas::snapped(double value) const
{
  return std::round(value * scale_) / scale_;
}

Rect Canvas::snapped(const Rect& rect) const
{
  const double x = snapped(rect.x), y = snapped(rect.y);
  return {x, y, snapped(rect.right()) - x, snapped(rect.bottom()) - y};
}

} // namespace soundfont
