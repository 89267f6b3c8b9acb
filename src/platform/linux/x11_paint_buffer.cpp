#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_paint_buffer.h"

#include <algorithm>
#include <sys/mman.h>
#include <unistd.h>

namespace orbi::platform {

constexpr size_t growth = size_t(64) << 10; // bytes

X11PaintBuffer::X11PaintBuffer(const X11Display& display, const DrawingLibrary& drawing)
    : display_(display), drawing_(drawing)
{
  const X11Library& x = display.x;
  if (!display.isLocal())
    return;
  const auto* extension = x.xcb_get_extension_data(display.connection, x.xcb_shm_id);
  if (extension == nullptr || !extension->present)
    return;
  const auto version =
      display.reply(x.xcb_shm_query_version_reply, x.xcb_shm_query_version(display.connection));
  // Earlier ones can't take a file.
  mayShare_ = version && (version->major_version > 1 ||
                          (version->major_version == 1 && version->minor_version >= 2));
}

X11PaintBuffer::~X11PaintBuffer()
{
  release();
  for (const Context& each : contexts_)
    display_.x.xcb_free_gc(display_.connection, each.id);
  if (device_ == nullptr)
    return;
  drawing_.cairo_device_finish(device_);
  drawing_.cairo_device_destroy(device_);
}

// ---- memory -------------------------------------------------------------------------------------

bool X11PaintBuffer::reserve(size_t bytes)
{
  if (bytes <= bytes_)
    return true;
  release();
  bytes = (bytes + growth - 1) / growth * growth;
  const int file = memfd_create("orbi paint", MFD_CLOEXEC);
  if (file < 0)
    return false;
  void* memory = MAP_FAILED;
  if (ftruncate(file, static_cast<off_t>(bytes)) == 0)
    memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) {
    close(file);
    return false;
  }
  memory_ = memory;
  bytes_ = bytes;
  share(file);
  return true;
}

/// Takes the file over.
void X11PaintBuffer::share(int file)
{
  if (!mayShare_) {
    close(file);
    return;
  }
  const X11Library& x = display_.x;
  const xcb_shm_seg_t segment = x.xcb_generate_id(display_.connection);
  const auto attached = x.xcb_shm_attach_fd_checked(display_.connection, segment, file, 1);
  xcb_generic_error_t* error = x.xcb_request_check(display_.connection, attached);
  mayShare_ = error == nullptr;
  if (mayShare_)
    segment_ = segment;
  std::free(error);
}

void X11PaintBuffer::release()
{
  awaitServer();
  if (segment_ != 0)
    display_.x.xcb_shm_detach(display_.connection, segment_);
  if (memory_ != nullptr)
    munmap(memory_, bytes_);
  segment_ = 0;
  memory_ = nullptr;
  bytes_ = 0;
}

void X11PaintBuffer::awaitServer()
{
  if (reading_)
    display_.reply(display_.x.xcb_get_input_focus_reply, *reading_);
  reading_.reset();
}

// ---- painting -----------------------------------------------------------------------------------

cairo_surface_t* X11PaintBuffer::begin(Size size)
{
  const size_t stride = static_cast<size_t>(size.width) * 4;
  awaitServer();
  if (!reserve(stride * static_cast<size_t>(size.height)))
    return nullptr;
  size_ = size;
  isBusy_ = true;
  return drawing_.cairo_image_surface_create_for_data(static_cast<unsigned char*>(memory_),
                                                      CAIRO_FORMAT_ARGB32, size.width, size.height,
                                                      static_cast<int>(stride));
}

void X11PaintBuffer::copy(xcb_window_t window, const X11Visual& visual, Point origin,
                          cairo_surface_t* surface, std::span<const Rect> rects)
{
  if (segment_ != 0 && visual.isPlain)
    copyShared(window, visual, origin, rects);
  else
    copySent(window, visual, origin, surface, rects);
}

void X11PaintBuffer::copyShared(xcb_window_t window, const X11Visual& visual, Point origin,
                                std::span<const Rect> rects)
{
  const X11Library& x = display_.x;
  const xcb_gcontext_t context = contextFor(window, visual.depth);
  for (const Rect& rect : rects)
    x.xcb_shm_put_image(
        display_.connection, window, context, static_cast<uint16_t>(size_.width),
        static_cast<uint16_t>(size_.height), static_cast<uint16_t>(rect.left - origin.x),
        static_cast<uint16_t>(rect.top - origin.y), static_cast<uint16_t>(rect.width()),
        static_cast<uint16_t>(rect.height()), static_cast<int16_t>(rect.left),
        static_cast<int16_t>(rect.top), visual.depth, XCB_IMAGE_FORMAT_Z_PIXMAP, 0, segment_, 0);
  reading_ = x.xcb_get_input_focus(display_.connection);
}

/// The pixels travel, turned into what the screen takes.
void X11PaintBuffer::copySent(xcb_window_t window, const X11Visual& visual, Point origin,
                              cairo_surface_t* surface, std::span<const Rect> rects)
{
  cairo_surface_t* target =
      windowSurface(window, visual, {origin.x + size_.width, origin.y + size_.height});
  cairo_t* cairo = drawing_.cairo_create(target);
  for (const Rect& rect : rects)
    drawing_.cairo_rectangle(cairo, rect.left, rect.top, rect.width(), rect.height());
  drawing_.cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
  drawing_.cairo_set_source_surface(cairo, surface, origin.x, origin.y);
  drawing_.cairo_fill(cairo);
  drawing_.cairo_destroy(cairo);
  drawing_.cairo_surface_finish(target);
  drawing_.cairo_surface_destroy(target);
}

cairo_surface_t* X11PaintBuffer::windowSurface(xcb_window_t window, const X11Visual& visual,
                                               Size size)
{
  cairo_surface_t* result = drawing_.cairo_xcb_surface_create(display_.connection, window,
                                                              visual.type, size.width, size.height);
  if (device_ == nullptr)
    if (cairo_device_t* device = drawing_.cairo_surface_get_device(result))
      device_ = drawing_.cairo_device_reference(device);
  return result;
}

xcb_gcontext_t X11PaintBuffer::contextFor(xcb_window_t window, uint8_t depth)
{
  for (const Context& each : contexts_)
    if (each.depth == depth)
      return each.id;
  const xcb_gcontext_t id = display_.x.xcb_generate_id(display_.connection);
  const uint32_t withoutExposures = 0;
  display_.x.xcb_create_gc(display_.connection, id, window, XCB_GC_GRAPHICS_EXPOSURES,
                           &withoutExposures);
  contexts_.push_back({depth, id});
  return id;
}

} // namespace orbi::platform

#endif
