#include "platform/canvas.h"

#ifdef ORBI_HAVE_DRAWING

#include "platform/linux/cairo_canvas.h"
#include "platform/linux/cairo_graphics.h"
#include "platform/linux/cairo_image.h"
#include "platform/utf8_text.h"

#include <algorithm>
#include <cmath>

namespace orbi::platform {

namespace {

constexpr size_t replacementBytes = 3; // of what stands for a byte that isn't UTF-8

/// Walks along a text and what is shown of it, up to the character in which the limit on either
/// side lies.
struct Places {
  size_t byte = 0;
  size_t shown = 0;

  void walk(std::string_view text, size_t byteLimit, size_t shownLimit)
  {
    while (byte < text.size()) {
      const size_t length = utf8Length(text.substr(byte));
      const size_t nextByte = byte + std::max<size_t>(length, 1);
      const size_t nextShown = shown + (length > 0 ? length : replacementBytes);
      if (nextByte > byteLimit || nextShown > shownLimit)
        return;
      byte = nextByte;
      shown = nextShown;
    }
  }
};

} // namespace

std::unique_ptr<CairoGraphics> CairoGraphics::open(std::string& error)
{
  std::unique_ptr<CairoGraphics> result(new CairoGraphics);
  if (!result->library_.load(error))
    return nullptr;
  result->caches_ = std::make_unique<DrawingCaches>(result->library_);
  return result;
}

std::unique_ptr<Image> CairoGraphics::makeImage(Size size)
{
  return CairoImage::make(library_, size);
}

std::unique_ptr<Canvas> CairoGraphics::makeCanvas(Image& image)
{
  cairo_surface_t* surface = static_cast<CairoImage&>(image).makeSurface();
  auto result = std::make_unique<CairoCanvas>(library_, *caches_, surface);
  library_.cairo_surface_destroy(surface); // the canvas has its own hold on it
  return result;
}

std::unique_ptr<Image> CairoGraphics::loadPng(const std::filesystem::path& file)
{
  return CairoImage::loadPng(library_, file);
}

// ---- measuring ----------------------------------------------------------------------------------

Size CairoGraphics::measure(std::string_view text, const Font& font, double wrapWidth)
{
  TextLayouts::Shape shape;
  shape.wraps = wrapWidth > 0.0;
  if (shape.wraps)
    shape.width = wrapWidth;
  const TextLayouts::Layout& layout = caches_->layouts.find(text, font, shape);
  return {static_cast<int32_t>(std::ceil(layout.width)),
          static_cast<int32_t>(std::ceil(layout.height))};
}

double CairoGraphics::offsetOf(std::string_view text, const Font& font, size_t byte)
{
  Places places;
  places.walk(text, byte, SIZE_MAX);
  PangoRectangle place;
  const TextLayouts::Layout& layout = caches_->layouts.find(text, font, {});
  library_.pango_layout_index_to_pos(layout.pango, static_cast<int>(places.shown), &place);
  return double(place.x) / PANGO_SCALE;
}

size_t CairoGraphics::byteAt(std::string_view text, const Font& font, double offset)
{
  const TextLayouts::Layout& layout = caches_->layouts.find(text, font, {});
  int index = 0;
  int charactersAfter = 0;
  const double inside = std::isfinite(offset) ? std::clamp(offset, 0.0, layout.width) : 0.0;
  library_.pango_layout_xy_to_index(layout.pango, static_cast<int>(inside * PANGO_SCALE), 0, &index,
                                    &charactersAfter);
  Places places;
  places.walk(text, SIZE_MAX, static_cast<size_t>(index));
  for (; charactersAfter > 0 && places.byte < text.size(); --charactersAfter)
    places.byte += std::max<size_t>(utf8Length(text.substr(places.byte)), 1);
  return places.byte;
}

} // namespace orbi::platform

#endif

namespace orbi::platform {

std::unique_ptr<Graphics> openGraphics()
{
#ifdef ORBI_HAVE_DRAWING
  std::string error;
  return CairoGraphics::open(error);
#else
  return nullptr;
#endif
}

} // namespace orbi::platform
