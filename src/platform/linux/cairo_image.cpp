#ifdef ORBI_HAVE_DRAWING

#include "platform/linux/cairo_image.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <unistd.h>

namespace orbi::platform {

namespace {

constexpr int64_t mostPngPixels = 64 << 20; // of a file, whose header may lie

int64_t memoryBytes()
{
  return int64_t(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE);
}

uint32_t bigEndian(const unsigned char* bytes)
{
  return uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 | bytes[3];
}

/// Whether the file is a PNG of a bearable size, by its first chunk.
bool looksBearable(const std::filesystem::path& file)
{
  std::error_code error;
  if (!std::filesystem::is_regular_file(file, error))
    return false;
  std::array<unsigned char, 24> head{};
  std::ifstream stream(file, std::ios::binary);
  constexpr unsigned char start[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
  if (!stream.read(reinterpret_cast<char*>(head.data()), head.size()) ||
      std::memcmp(head.data(), start, sizeof start) != 0)
    return false;
  const uint32_t width = bigEndian(&head[16]);
  const uint32_t height = bigEndian(&head[20]);
  return width > 0 && height > 0 && width <= CairoImage::largestSide &&
         height <= CairoImage::largestSide && int64_t(width) * height <= mostPngPixels;
}

} // namespace

std::unique_ptr<CairoImage> CairoImage::make(const DrawingLibrary& library, Size size)
{
  if (size.width <= 0 || size.height <= 0 || size.width > largestSide || size.height > largestSide)
    return nullptr;
  const int64_t pixels = int64_t(size.width) * size.height;
  if (pixels > memoryBytes() / int64_t(sizeof(uint32_t)))
    return nullptr;
  void* memory = std::calloc(static_cast<size_t>(pixels), sizeof(uint32_t));
  if (memory == nullptr)
    return nullptr;
  return std::unique_ptr<CairoImage>(new CairoImage(library, size, static_cast<uint32_t*>(memory)));
}

CairoImage::~CairoImage()
{
  std::free(pixels_);
}

std::span<uint32_t> CairoImage::pixels()
{
  return {pixels_, static_cast<size_t>(size_.width) * static_cast<size_t>(size_.height)};
}

cairo_surface_t* CairoImage::makeSurface()
{
  return library_.cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(pixels_),
                                                      CAIRO_FORMAT_ARGB32, size_.width,
                                                      size_.height, size_.width * 4);
}

bool CairoImage::savePng(const std::filesystem::path& file)
{
  cairo_surface_t* surface = makeSurface();
  const bool done =
      library_.cairo_surface_write_to_png(surface, file.c_str()) == CAIRO_STATUS_SUCCESS;
  library_.cairo_surface_destroy(surface);
  return done;
}

std::unique_ptr<CairoImage> CairoImage::loadPng(const DrawingLibrary& library,
                                                const std::filesystem::path& file)
{
  if (!looksBearable(file))
    return nullptr;
  cairo_surface_t* source = library.cairo_image_surface_create_from_png(file.c_str());
  std::unique_ptr<CairoImage> result;
  if (library.cairo_surface_status(source) == CAIRO_STATUS_SUCCESS)
    result = make(library, {library.cairo_image_surface_get_width(source),
                            library.cairo_image_surface_get_height(source)});
  if (result) {
    // Files come without alpha or in other depths as well.
    cairo_surface_t* target = result->makeSurface();
    cairo_t* cairo = library.cairo_create(target);
    library.cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
    library.cairo_set_source_surface(cairo, source, 0.0, 0.0);
    library.cairo_paint(cairo);
    library.cairo_destroy(cairo);
    library.cairo_surface_destroy(target);
  }
  library.cairo_surface_destroy(source);
  return result;
}

} // namespace orbi::platform

#endif
