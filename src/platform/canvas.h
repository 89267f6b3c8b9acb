#pragma once

#include "platform/geometry.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace orbi::platform {

/// 8 bits a channel, not premultiplied.
struct Color {
  uint8_t red = 0;
  uint8_t green = 0;
  uint8_t blue = 0;
  uint8_t alpha = 255;
  friend constexpr bool operator==(const Color&, const Color&) = default;
};

struct Font {
  std::string face = "sans-serif"; ///< a family that is missing is replaced by one that is there
  double size = 12.0;              ///< of the em square, in the canvas's units
  bool bold = false;
  bool italic = false;
  friend bool operator==(const Font&, const Font&) = default;
};

struct FontMetrics {
  double ascent = 0.0;
  double descent = 0.0; ///< both positive; their sum is a line's height
};

/// Where a text stands in its rectangle.
enum class Justify { left, center, right };
enum class Align { top, center, bottom };
enum class Overflow { clip, ellipsis };

struct TextStyle {
  Font font;
  Color color;
  Justify justify = Justify::left;
  Align align = Align::center;
  Overflow overflow = Overflow::ellipsis;
  bool wraps = false; ///< breaks lines at the rectangle's width; else line feeds alone break
};

struct Vertex {
  double x = 0.0;
  double y = 0.0;
};

/// A picture in memory, premultiplied 32-bit ARGB in the machine's order.
class Image {
public:
  virtual ~Image() = default;
  virtual Size size() const = 0; ///< pixels
  /// Null data where the picture is too large for the memory.
  virtual std::span<uint32_t> pixels() = 0; ///< row by row, without gaps
  virtual bool savePng(const std::filesystem::path& file) = 0;
};

/// What views draw on. Units become pixels by `scale`; edges of filled rectangles that fall on
/// whole pixels are sharp. Text is UTF-8, and bytes that aren't show as replacement characters.
/// Main thread.
class Canvas {
public:
  virtual ~Canvas() = default;

  // What holds for all that follows, until the matching restore
  virtual void save() = 0;
  virtual void restore() = 0;
  virtual void translate(double x, double y) = 0;
  virtual void scale(double factor) = 0;
  virtual void clip(const Rect& rect) = 0;   ///< only ever narrows
  virtual Rect clipBounds() const = 0;       ///< in present units, rounded outward
  virtual void setOpacity(double share) = 0; ///< 0 to 1, of what is drawn from now on

  // Shapes
  virtual void fill(const Rect& rect, Color color) = 0;
  virtual void fillVertical(const Rect& rect, double radius, Color top, Color bottom) = 0;
  virtual void fillRounded(const Rect& rect, double radius, Color color) = 0;
  /// The line lies inside the rectangle.
  virtual void frame(const Rect& rect, double radius, double width, Color color) = 0;
  virtual void line(Vertex from, Vertex to, double width, Color color) = 0;
  virtual void fillPolygon(std::span<const Vertex> corners, Color color) = 0;
  virtual void polyline(std::span<const Vertex> corners, double width, Color color) = 0;
  /// Angles in radians, clockwise from three o'clock.
  virtual void arc(Vertex center, double radius, double from, double to, double width,
                   Color color) = 0;

  // Text and pictures
  virtual void text(std::string_view text, const Rect& rect, const TextStyle& style) = 0;
  virtual void image(Image& image, const Rect& from, const Rect& to) = 0;
};

/// Makes pictures and measures text; needs no display. Main thread.
class Graphics {
public:
  virtual ~Graphics() = default;

  virtual std::unique_ptr<Image> makeImage(Size size) = 0;      ///< clear; null when too large
  virtual std::unique_ptr<Canvas> makeCanvas(Image& image) = 0; ///< borrows the image
  virtual std::unique_ptr<Image> loadPng(const std::filesystem::path& file) = 0; ///< or null

  virtual FontMetrics metrics(const Font& font) = 0;
  /// Of the text in one line, or wrapped at a width in units when that is above 0.
  virtual Size measure(std::string_view text, const Font& font, double wrapWidth = 0.0) = 0;
  /// The place of a byte's left edge within the text's one line, and the way back: the nearest
  /// place between two characters.
  virtual double offsetOf(std::string_view text, const Font& font, size_t byte) = 0;
  virtual size_t byteAt(std::string_view text, const Font& font, double offset) = 0;
};

/// Null where the system's drawing libraries are missing. Loads them.
std::unique_ptr<Graphics> openGraphics();

} // namespace orbi::platform
