#pragma once

#include "platform/canvas.h"
#include "platform/linux/drawing_library.h"
#include "platform/linux/rounded_masks.h"
#include "platform/linux/text_layouts.h"

#include <optional>
#include <vector>

namespace orbi::platform {

/// What is kept from one painting to the next.
struct DrawingCaches {
  explicit DrawingCaches(const DrawingLibrary& library) : layouts(library), masks(library) {}

  TextLayouts layouts;
  RoundedMasks masks;
};

/// Draws on a surface of cairo's, which lives as long as the canvas.
class CairoCanvas final : public Canvas {
public:
  /// `origin` of the canvas falls on the surface's top left.
  CairoCanvas(const DrawingLibrary& library, DrawingCaches& caches, cairo_surface_t* surface,
              Point origin = {});
  ~CairoCanvas() override;
  CairoCanvas(const CairoCanvas&) = delete;
  CairoCanvas& operator=(const CairoCanvas&) = delete;

  void clipToRegion(const std::vector<Rect>& region); ///< before anything is drawn
  void clear();                                       ///< what the clip leaves, to transparent

  void save() override;
  void restore() override;
  void translate(double x, double y) override;
  void scale(double factor) override;
  void clip(const Rect& rect) override;
  Rect clipBounds() const override;
  void setOpacity(double share) override;

  void fill(const Rect& rect, Color color) override;
  void fillVertical(const Rect& rect, double radius, Color top, Color bottom) override;
  void fillRounded(const Rect& rect, double radius, Color color) override;
  void frame(const Rect& rect, double radius, double width, Color color) override;
  void line(Vertex from, Vertex to, double width, Color color) override;
  void fillPolygon(std::span<const Vertex> corners, Color color) override;
  void polyline(std::span<const Vertex> corners, double width, Color color) override;
  void arc(Vertex center, double radius, double from, double to, double width,
           Color color) override;

  void text(std::string_view text, const Rect& rect, const TextStyle& style) override;
  void image(Image& image, const Rect& from, const Rect& to) override;

private:
  void setColor(Color color);
  void addRect(const Rect& rect);
  void paintRounded(const Rect& rect, double radius, double line);
  struct Pixels {
    Rect rect;
    cairo_matrix_t matrix; ///< that was there
  };
  std::optional<Pixels> pixelsOf(const Rect& rect);
  void addPath(std::span<const Vertex> corners);

  const DrawingLibrary& library_;
  DrawingCaches& caches_;
  cairo_t* const cairo_;
  double opacity_ = 1.0;
  std::vector<double> savedOpacities_;
};

} // namespace orbi::platform
