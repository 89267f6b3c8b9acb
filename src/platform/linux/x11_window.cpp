#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_window.h"

#include "platform/linux/cairo_canvas.h"
#include "platform/linux/x11_cursors.h"
#include "platform/linux/x11_window_system.h"

#include <algorithm>
#include <utility>

namespace orbi::platform {

namespace {

constexpr int mostDamagedRects = 64; // beyond which all between them is painted, too
constexpr int32_t farthest = 16383;  // places are 16 bits, and a window reaches beyond its own
constexpr int32_t largest = 32767;

constexpr uint32_t events =
    XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE | XCB_EVENT_MASK_BUTTON_PRESS |
    XCB_EVENT_MASK_BUTTON_RELEASE | XCB_EVENT_MASK_ENTER_WINDOW | XCB_EVENT_MASK_LEAVE_WINDOW |
    XCB_EVENT_MASK_POINTER_MOTION | XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_STRUCTURE_NOTIFY |
    XCB_EVENT_MASK_FOCUS_CHANGE | XCB_EVENT_MASK_PROPERTY_CHANGE;

} // namespace

Rect clampedForX11(const Rect& rect)
{
  const auto side = [](int64_t length) {
    return static_cast<int32_t>(std::clamp<int64_t>(length, 1, largest));
  };
  const Point place{std::clamp(rect.left, -farthest, farthest),
                    std::clamp(rect.top, -farthest, farthest)};
  return Rect::at(place,
                  {side(int64_t(rect.right) - rect.left), side(int64_t(rect.bottom) - rect.top)});
}

std::unique_ptr<X11Window> X11Window::make(X11WindowSystem& system, const WindowOptions& options,
                                           WindowListener& listener)
{
  std::unique_ptr<X11Window> result(new X11Window(system, options, listener));
  if (!result->create())
    return nullptr;
  return result;
}

/// Without a compositor, what lies behind a window isn't seen through it.
static const X11Visual& visualFor(const WindowOptions& options, const X11Display& display)
{
  const bool alpha = options.transparent && display.alphaVisual().type != nullptr;
  return alpha && display.hasCompositor() ? display.alphaVisual() : display.plainVisual();
}

X11Window::X11Window(X11WindowSystem& system, const WindowOptions& options,
                     WindowListener& listener)
    : system_(&system), listener_(listener), options_(options),
      visual_(visualFor(options, system.display())), client_(clampedForX11(options.client)),
      toldClient_(client_), normalClient_(client_),
      damage_(system.cairo().library().cairo_region_create()), drawing_(system.cairo().library())
{
}

X11Window::~X11Window()
{
  drawing_.cairo_region_destroy(damage_);
  if (system_ == nullptr || id_ == 0)
    return;
  const X11Display& display = system_->display();
  system_->remove(*this);
  display.x.xcb_destroy_window(display.connection, id_);
}

const X11Display& X11Window::display() const
{
  return system_->display();
}

bool X11Window::create()
{
  const X11Library& x = display().x;
  xcb_connection_t* connection = display().connection;
  const xcb_window_t id = x.xcb_generate_id(connection);
  const uint32_t values[] = {XCB_BACK_PIXMAP_NONE, 0,      XCB_GRAVITY_NORTH_WEST,
                             isPopup() ? 1u : 0u,  events, visual().colormap};
  const auto made = x.xcb_create_window_checked(
      connection, visual().depth, id, display().root(), static_cast<int16_t>(client_.left),
      static_cast<int16_t>(client_.top), static_cast<uint16_t>(client_.width()),
      static_cast<uint16_t>(client_.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
      visual().type->visual_id,
      XCB_CW_BACK_PIXMAP | XCB_CW_BORDER_PIXEL | XCB_CW_BIT_GRAVITY | XCB_CW_OVERRIDE_REDIRECT |
          XCB_CW_EVENT_MASK | XCB_CW_COLORMAP,
      values);
  xcb_generic_error_t* error = x.xcb_request_check(connection, made);
  std::free(error);
  if (error != nullptr || display().isLost())
    return false;
  id_ = id;
  parent_ = display().root();
  keyHolder_ = x.xcb_generate_id(connection);
  const uint32_t keys =
      XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE | XCB_EVENT_MASK_FOCUS_CHANGE;
  x.xcb_create_window(connection, 0, keyHolder_, id_, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &keys);
  x.xcb_map_window(connection, keyHolder_);
  system_->add(*this);
  writeIdentity();
  writeKind();
  writeHints();
  writeSizeHints();
  writeMotifHints();
  setTitle(options_.title);
  return true;
}

void X11Window::markDead()
{
  system_ = nullptr;
  mapped_ = false;
  active_ = false;
}

void X11Window::tellDestroyed()
{
  system_->remove(*this);
  markDead();
  listener_.windowDestroyed();
}

void* X11Window::handle() const
{
  return reinterpret_cast<void*>(static_cast<uintptr_t>(id_));
}

void X11Window::setCursor(Cursor cursor)
{
  if (system_ == nullptr)
    return;
  const uint32_t shape = system_->cursors().find(cursor);
  display().x.xcb_change_window_attributes(display().connection, id_, XCB_CW_CURSOR, &shape);
}

bool X11Window::capture(Capture what)
{
  return system_ != nullptr && system_->capture(*this, what);
}

void X11Window::releaseCapture()
{
  if (system_ != nullptr)
    system_->releaseCapture(id_);
}

/// It selects no events, so that these go on to the window.
void X11Window::coverChildren(bool on)
{
  if (system_ == nullptr || on == (cover_ != 0))
    return;
  const X11Library& x = display().x;
  xcb_connection_t* connection = display().connection;
  if (!on) {
    x.xcb_destroy_window(connection, std::exchange(cover_, 0));
    return;
  }
  cover_ = x.xcb_generate_id(connection);
  x.xcb_create_window(connection, 0, cover_, id_, 0, 0, largest, largest, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
  x.xcb_map_window(connection, cover_);
}

std::unique_ptr<ChildWindow> X11Window::makeChild(const Rect& bounds, std::string_view name)
{
  return system_ != nullptr ? X11ChildWindow::make(*system_, id_, bounds, name) : nullptr;
}

// ---- painting -----------------------------------------------------------------------------------

void X11Window::invalidate(const Rect& rect)
{
  const Rect inside = rect.intersectedWith({0, 0, client_.width(), client_.height()});
  if (!mapped_ || inside.isEmpty())
    return; // the server tells what is missing once the window is seen
  const cairo_rectangle_int_t area{inside.left, inside.top, inside.width(), inside.height()};
  drawing_.cairo_region_union_rectangle(damage_, &area);
  if (drawing_.cairo_region_num_rectangles(damage_) <= mostDamagedRects)
    return;
  cairo_rectangle_int_t all;
  drawing_.cairo_region_get_extents(damage_, &all);
  drawing_.cairo_region_union_rectangle(damage_, &all);
}

bool X11Window::needsPaint() const
{
  return mapped_ && !painting_ && !drawing_.cairo_region_is_empty(damage_);
}

void X11Window::paintNow()
{
  if (system_ != nullptr)
    paint();
}

/// As rectangles in the window as it is now, which may have become smaller.
std::vector<Rect> X11Window::takeDamage()
{
  const cairo_rectangle_int_t window{0, 0, client_.width(), client_.height()};
  drawing_.cairo_region_intersect_rectangle(damage_, &window);
  std::vector<Rect> result;
  const int count = drawing_.cairo_region_num_rectangles(damage_);
  for (int i = 0; i < count; ++i) {
    cairo_rectangle_int_t each;
    drawing_.cairo_region_get_rectangle(damage_, i, &each);
    result.push_back(Rect::at({each.x, each.y}, {each.width, each.height}));
  }
  drawing_.cairo_region_destroy(damage_);
  damage_ = drawing_.cairo_region_create();
  return result;
}

void X11Window::paint()
{
  if (!needsPaint() || system_->buffer().isBusy())
    return;
  const std::vector<Rect> region = takeDamage();
  Rect bounds;
  for (const Rect& each : region)
    bounds = bounds.unitedWith(each);
  if (bounds.isEmpty())
    return;
  painting_ = true;
  X11WindowSystem& system = *system_;
  const xcb_window_t id = id_;
  if (options_.offscreen)
    paintOffscreen(region, bounds);
  else
    paintDirectly(region);
  if (system.find(id) == this)
    painting_ = false;
}

void X11Window::paintOffscreen(const std::vector<Rect>& region, const Rect& bounds)
{
  X11WindowSystem& system = *system_;
  const xcb_window_t id = id_;
  cairo_surface_t* surface = system.buffer().begin(bounds.size());
  if (surface == nullptr)
    return;
  {
    CairoCanvas canvas(system.cairo().library(), system.cairo().caches(), surface, bounds.origin());
    canvas.clipToRegion(region);
    canvas.clear();
    listener_.windowPaint(canvas, region);
  }
  if (system.find(id) == this)
    system.buffer().copy(id, visual(), bounds.origin(), surface, region);
  system.buffer().end();
  system.cairo().library().cairo_surface_destroy(surface);
}

void X11Window::paintDirectly(const std::vector<Rect>& region)
{
  const CairoGraphics& cairo = system_->cairo();
  cairo_surface_t* surface = system_->buffer().windowSurface(id_, visual(), client_.size());
  {
    CairoCanvas canvas(cairo.library(), system_->cairo().caches(), surface);
    canvas.clipToRegion(region);
    if (options_.transparent)
      canvas.clear();
    listener_.windowPaint(canvas, region);
  }
  cairo.library().cairo_surface_finish(surface);
  cairo.library().cairo_surface_destroy(surface);
}

} // namespace orbi::platform

#endif
