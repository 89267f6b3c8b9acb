#pragma once

#include "platform/linux/drawing_library.h"
#include "platform/linux/x11_display.h"

#include <optional>

namespace orbi::platform {

/// Memory in which windows are painted one after the other before it is copied to them, shared with
/// the server where that runs on the same machine. As large as the largest part painted so far.
class X11PaintBuffer {
public:
  X11PaintBuffer(const X11Display& display, const DrawingLibrary& drawing);
  ~X11PaintBuffer();
  X11PaintBuffer(const X11PaintBuffer&) = delete;
  X11PaintBuffer& operator=(const X11PaintBuffer&) = delete;

  bool isBusy() const { return isBusy_; } ///< between `begin` and `end`

  /// To paint on, once the server has read what was there before. For the caller to release; null
  /// without memory.
  cairo_surface_t* begin(Size size);

  /// Copies rectangles of the last one, whose top left lies at `origin` in the window.
  void copy(xcb_window_t window, const X11Visual& visual, Point origin, cairo_surface_t* surface,
            std::span<const Rect> rects);

  void end() { isBusy_ = false; }

  /// Draws in the window itself. For the caller to finish and to release.
  cairo_surface_t* windowSurface(xcb_window_t window, const X11Visual& visual, Size size);

private:
  bool reserve(size_t bytes);
  void release();
  void share(int file);
  void awaitServer();
  void copyShared(xcb_window_t window, const X11Visual& visual, Point origin,
                  std::span<const Rect> rects);
  void copySent(xcb_window_t window, const X11Visual& visual, Point origin,
                cairo_surface_t* surface, std::span<const Rect> rects);
  xcb_gcontext_t contextFor(xcb_window_t window, uint8_t depth);

  const X11Display& display_;
  const DrawingLibrary& drawing_;
  bool mayShare_ = false;
  void* memory_ = nullptr;
  size_t bytes_ = 0;
  bool isBusy_ = false;
  Size size_;
  xcb_shm_seg_t segment_ = 0;                           // 0 when the memory isn't shared
  std::optional<xcb_get_input_focus_cookie_t> reading_; // answered once the server has read
  struct Context {
    uint8_t depth;
    xcb_gcontext_t id;
  };
  std::vector<Context> contexts_;
  cairo_device_t* device_ = nullptr; // cairo's knowledge of the connection, once it has some
};

} // namespace orbi::platform
