#pragma once

#include "platform/canvas.h"
#include "platform/linux/drawing_library.h"

namespace orbi::platform {

/// A picture in memory of our own, on which cairo draws where it lies.
class CairoImage final : public Image {
public:
  static constexpr int32_t largestSide = 32767; // cairo's and X11's own limit

  /// Clear; null when it is empty or larger than the machine's memory.
  static std::unique_ptr<CairoImage> make(const DrawingLibrary& library, Size size);
  static std::unique_ptr<CairoImage> loadPng(const DrawingLibrary& library,
                                             const std::filesystem::path& file); ///< or null
  ~CairoImage() override;
  CairoImage(const CairoImage&) = delete;
  CairoImage& operator=(const CairoImage&) = delete;

  Size size() const override { return size_; }
  std::span<uint32_t> pixels() override;
  bool savePng(const std::filesystem::path& file) override;

  /// On the picture's memory. For the caller to release.
  cairo_surface_t* makeSurface();

private:
  CairoImage(const DrawingLibrary& library, Size size, uint32_t* pixels)
      : library_(library), size_(size), pixels_(pixels)
  {
  }

  const DrawingLibrary& library_;
  const Size size_;
  uint32_t* const pixels_;
};

} // namespace orbi::platform
