#pragma once

#include "platform/canvas.h"
#include "platform/linux/cairo_canvas.h"
#include "platform/linux/drawing_library.h"

namespace orbi::platform {

class CairoGraphics final : public Graphics {
public:
  /// Null, with a line that names what is missing.
  static std::unique_ptr<CairoGraphics> open(std::string& error);

  const DrawingLibrary& library() const { return library_; }
  DrawingCaches& caches() { return *caches_; }

  std::unique_ptr<Image> makeImage(Size size) override;
  std::unique_ptr<Canvas> makeCanvas(Image& image) override;
  std::unique_ptr<Image> loadPng(const std::filesystem::path& file) override;

  FontMetrics metrics(const Font& font) override { return caches_->layouts.metrics(font); }
  Size measure(std::string_view text, const Font& font, double wrapWidth) override;
  double offsetOf(std::string_view text, const Font& font, size_t byte) override;
  size_t byteAt(std::string_view text, const Font& font, double offset) override;

private:
  CairoGraphics() = default;

  DrawingLibrary library_;
  std::unique_ptr<DrawingCaches> caches_;
};

} // namespace orbi::platform
