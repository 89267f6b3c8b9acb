#pragma once

#include "soundfont/editor/cairo_library.h"
#include "soundfont/editor/geometry.h"

#include <memory>
#include <string>
#include <string_view>

namespace soundfont {

enum class Justify { left, center, right };

struct TextStyle {
  double size;
  Color color;
  bool bold = false;
  Justify justify = Justify::left;
};

/// An image in memory and what can be drawn in it, in units. One thread at a time.
class Canvas {
public:
  /// Width and height in units; scale is pixels a unit.
  Canvas(const CairoLibrary& cairo, double width, double height, double scale);

  bool isGood() const; ///< false: no memory, or a drawing call failed for good

  // The image: 32 bits a pixel, blue first
  int pixelWidth() const { return pixelWidth_; }
  int pixelHeight() const { return pixelHeight_; }
  const uint8_t* row(int y); ///< of pixels

  // What is drawn between these lies within the rectangle, widened to whole pixels.
  void begin(const Rect& area);
  void end();

  void fill(const Rect& rect, Color color);
  void fillRounded(const Rect& rect, double radius, Color color);
  void fillRounded(const Rect& rect, double radius, Color top, Color bottom);
  void frameRounded(const Rect& rect, double radius, Color color); ///< one pixel, just inside
  void fillCircle(Point center, double radius, Color color);
  void fillCircle(Point center, double radius, Color top, Color bottom);
  void arc(Point center, double radius, double from, double to, double thickness, Color color);
  void line(Point from, Point to, double thickness, Color color);
  /// One line of UTF-8, or else Latin-1, in the middle of the rectangle's height; cut with an
  /// ellipsis where it is too long.
  void text(const Rect& rect, std::string_view text, const TextStyle& style);
  double widthOf(std::string_view text, const TextStyle& style);

  double snapped(double value) const; ///< to the nearest pixel's edge
  Rect snapped(const Rect& rect) const;
  double pixel() const { return 1.0 / scale_; }

private:
  struct SurfaceDelete {
    const CairoLibrary* cairo;
    void operator()(cairo_surface_t* surface) const { cairo->cairo_surface_destroy(surface); }
  };
  struct ContextDelete {
    const CairoLibrary* cairo;
    void operator()(cairo_t* context) const { cairo->cairo_destroy(context); }
  };

  void use(Color color);
  void useGradient(double fromY, double toY, Color top, Color bottom);
  void roundedPath(const Rect& rect, double radius);
  void useFont(const TextStyle& style);
  cairo_text_extents_t extents(const std::string& text);

  const CairoLibrary& cairo_;
  const double scale_;
  const int pixelWidth_;
  const int pixelHeight_;
  std::unique_ptr<cairo_surface_t, SurfaceDelete> surface_;
  std::unique_ptr<cairo_t, ContextDelete> context_;
};

} // namespace soundfont
