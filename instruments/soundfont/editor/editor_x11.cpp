#include "soundfont/editor/editor_x11.h"

#include <bit>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace soundfont {

namespace {

using namespace std::chrono_literals;

constexpr int frameMilliseconds = 33;
constexpr auto longestGoodbye = 500ms; // after that the display is taken for dead
constexpr uint32_t doubleClickMilliseconds = 400;
constexpr double doubleClickDistance = 4;
constexpr double usualDotsPerInch = 96;
constexpr double smallestScale = 1, largestScale = 4;
constexpr size_t bytesPerPixel = 4;
constexpr uint32_t longestResources = 65536; // in words of four bytes

enum Button { leftButton = 1, wheelAway = 4, wheelTowards = 5 };

struct Free {
  void operator()(void* reply) const { std::free(reply); }
};
template <class Reply>
using Owned = std::unique_ptr<Reply, Free>;

int64_t nanosecondsNow()
{
  return std::chrono::steady_clock::now().time_since_epoch() / 1ns;
}

/// From the text of a display's resources; 0 when it says nothing.
double scaleOfResources(const std::string& resources)
{
  constexpr std::string_view name = "Xft.dpi:";
  size_t at =
      resources.compare(0, name.size(), name) == 0 ? 0 : resources.find("\n" + std::string(name));
  if (at == std::string::npos)
    return 0;
  at = resources.find(':', at) + 1;
  return std::strtod(resources.c_str() + at, nullptr) / usualDotsPerInch;
}

/// To quarters, within what a screen may have.
double usableScale(double scale)
{
  return scale > 0 ? std::clamp(std::round(scale * 4) / 4, smallestScale, largestScale) : 1;
}

} // namespace

std::unique_ptr<Editor> makeEditor(Instrument& instrument)
{
  return std::make_unique<X11Editor>(instrument);
}

bool X11Editor::connect()
{
  xcb_ = XcbLibrary::get();
  cairo_ = CairoLibrary::get();
  if (!xcb_ || !cairo_)
    return false;
  connection_ = xcb_->xcb_connect(nullptr, nullptr);
  if (!xcb_->xcb_connection_has_error(connection_))
    return true;
  disconnect();
  return false;
}

void X11Editor::disconnect()
{
  if (connection_)
    xcb_->xcb_disconnect(connection_);
  connection_ = nullptr;
  if (wakeUp_ >= 0)
    ::close(wakeUp_);
  wakeUp_ = -1;
}

const OrbRect* X11Editor::rect()
{
  if (!connection_) {
    if (!connect())
      return nullptr;
    scale_ = readScale();
    disconnect();
  }
  rect_ = {0, 0, static_cast<int16_t>(std::lround(style::height * scale_)),
           static_cast<int16_t>(std::lround(style::width * scale_))};
  return &rect_;
}

double X11Editor::readScale() const
{
  if (const char* wanted = std::getenv("GDK_SCALE"))
    if (const double scale = std::strtod(wanted, nullptr); scale > 0)
      return usableScale(scale);
  const xcb_screen_t* screen =
      xcb_->xcb_setup_roots_iterator(xcb_->xcb_get_setup(connection_)).data;
  if (!screen)
    return 1;
  const auto cookie =
      xcb_->xcb_get_property(connection_, 0, screen->root, XCB_ATOM_RESOURCE_MANAGER,
                             XCB_ATOM_STRING, 0, longestResources);
  const Owned<xcb_get_property_reply_t> reply(
      xcb_->xcb_get_property_reply(connection_, cookie, nullptr));
  if (!reply)
    return 1;
  const auto* text = static_cast<const char*>(xcb_->xcb_get_property_value(reply.get()));
  const int length = xcb_->xcb_get_property_value_length(reply.get());
  return usableScale(scaleOfResources({text, static_cast<size_t>(length)}));
}

void X11Editor::open(void* parent)
{
  close();
  try {
    if (start(static_cast<xcb_window_t>(reinterpret_cast<uintptr_t>(parent))))
      return;
  } catch (...) { // no memory or no thread to be had
  }
  forget();
}

bool X11Editor::start(xcb_window_t parent)
{
  if (!connect())
    return false;
  scale_ = rect_.right > 0 ? scale_ : readScale();
  wakeUp_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (wakeUp_ < 0 || !makeWindow(parent))
    return false;
  view_ = std::make_unique<EditorView>(instrument_);
  own_ = {};
  own_.canvas = std::make_unique<Canvas>(*cairo_, style::width, style::height, scale_);
  // While the host waits: later it might move its windows about meanwhile.
  own_.drop = std::make_unique<DropTarget>(*xcb_, connection_, window_);
  own_.windowIsThere = true;
  own_.lastLook = nanosecondsNow();
  stops_ = hasEnded_ = false;
  moves_ = true;
  thread_ = std::thread([this] { run(); });
  return true;
}

void X11Editor::forget()
{
  own_ = {};
  pointer_ = nowhere;
  view_.reset(); // releases a key that is still held
  disconnect();
}

const xcb_screen_t* X11Editor::screenOf(xcb_window_t root) const
{
  for (auto at = xcb_->xcb_setup_roots_iterator(xcb_->xcb_get_setup(connection_)); at.rem;
       xcb_->xcb_screen_next(&at))
    if (at.data->root == root)
      return at.data;
  return nullptr;
}

/// One whose pixels are laid out like the canvas's.
std::optional<X11Editor::Visual> X11Editor::visualOn(const xcb_screen_t& screen) const
{
  const bool sameOrder =
      (xcb_->xcb_get_setup(connection_)->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST) ==
      (std::endian::native == std::endian::little);
  for (auto depth = xcb_->xcb_screen_allowed_depths_iterator(&screen); sameOrder && depth.rem;
       xcb_->xcb_depth_next(&depth))
    for (auto visual = xcb_->xcb_depth_visuals_iterator(depth.data); visual.rem;
         xcb_->xcb_visualtype_next(&visual))
      if (depth.data->depth == 24 && visual.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR &&
          visual.data->red_mask == 0xFF0000 && visual.data->blue_mask == 0xFF)
        return Visual{visual.data->visual_id, depth.data->depth};
  return std::nullopt;
}

bool X11Editor::makeWindow(xcb_window_t parent)
{
  const Owned<xcb_query_tree_reply_t> tree(
      xcb_->xcb_query_tree_reply(connection_, xcb_->xcb_query_tree(connection_, parent), nullptr));
  const xcb_screen_t* screen = tree ? screenOf(tree->root) : nullptr;
  const std::optional<Visual> visual = screen ? visualOn(*screen) : std::nullopt;
  if (!visual)
    return false;
  depth_ = visual->depth;
  const xcb_colormap_t colors = xcb_->xcb_generate_id(connection_);
  xcb_->xcb_create_colormap(connection_, XCB_COLORMAP_ALLOC_NONE, colors, screen->root, visual->id);
  window_ = xcb_->xcb_generate_id(connection_);
  // Keys aren't asked for: they go to the host, which hands them on.
  constexpr uint32_t events = XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_BUTTON_PRESS |
                              XCB_EVENT_MASK_BUTTON_RELEASE | XCB_EVENT_MASK_POINTER_MOTION |
                              XCB_EVENT_MASK_LEAVE_WINDOW | XCB_EVENT_MASK_STRUCTURE_NOTIFY |
                              XCB_EVENT_MASK_PROPERTY_CHANGE;
  const uint32_t values[] = {style::background.rgb, 0, events, colors};
  const auto made = xcb_->xcb_create_window_checked(
      connection_, visual->depth, window_, parent, 0, 0,
      static_cast<uint16_t>(std::lround(style::width * scale_)),
      static_cast<uint16_t>(std::lround(style::height * scale_)), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
      visual->id, XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP,
      values);
  const Owned<xcb_generic_error_t> error(xcb_->xcb_request_check(connection_, made));
  if (error || xcb_->xcb_connection_has_error(connection_))
    return false;
  context_ = xcb_->xcb_generate_id(connection_);
  xcb_->xcb_create_gc(connection_, context_, window_, 0, nullptr);
  xcb_->xcb_map_window(connection_, window_);
  xcb_->xcb_flush(connection_);
  return true;
}

void X11Editor::close()
{
  if (thread_.joinable()) {
    stops_ = true;
    wake();
    {
      std::unique_lock lock(endMutex_);
      if (!ended_.wait_for(lock, longestGoodbye, [this] { return hasEnded_; }))
        shutdown(xcb_->xcb_get_file_descriptor(connection_), SHUT_RDWR); // ends what waits there
    }
    thread_.join();
  }
  forget();
}

void X11Editor::wake()
{
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(wakeUp_, &one, sizeof one);
}

void X11Editor::idle()
{
  if (connection_ && !moves_.load(std::memory_order_relaxed) &&
      instrument_.activity().changes() != seenChanges_.load(std::memory_order_relaxed))
    wake();
}

bool X11Editor::keyDown(const EditorKey& key)
{
  if (!connection_)
    return false;
  const std::lock_guard lock(viewMutex_);
  if (!view_->key(key))
    return false;
  wake();
  return true;
}

bool X11Editor::wheel(double notches)
{
  if (!connection_)
    return false;
  const std::lock_guard lock(viewMutex_);
  view_->wheel(pointer_, notches);
  wake();
  return true;
}

void X11Editor::run()
{
  try {
    while (!stops_ && !xcb_->xcb_connection_has_error(connection_)) {
      handleEvents();
      look();
      draw();
      xcb_->xcb_flush(connection_);
      wait();
    }
  } catch (const std::exception&) { // out of memory: the picture stands still from now on
  }
  const std::lock_guard lock(endMutex_);
  hasEnded_ = true;
  ended_.notify_all();
}

void X11Editor::handleEvents()
{
  while (const Owned<xcb_generic_event_t> event{xcb_->xcb_poll_for_event(connection_)})
    handle(*event);
}

Pointer X11Editor::pointerAt(int x, int y, uint16_t state) const
{
  return {{x / scale_, y / scale_}, own_.clicks, (state & XCB_MOD_MASK_SHIFT) != 0};
}

void X11Editor::handle(const xcb_generic_event_t& event)
{
  const std::lock_guard lock(viewMutex_);
  switch (event.response_type & 0x7F) {
  case XCB_EXPOSE: {
    const auto& expose = reinterpret_cast<const xcb_expose_event_t&>(event);
    own_.exposed.push_back(
        {expose.x / scale_, expose.y / scale_, expose.width / scale_, expose.height / scale_});
    break;
  }
  case XCB_BUTTON_PRESS:
    buttonPressed(reinterpret_cast<const xcb_button_press_event_t&>(event));
    break;
  case XCB_BUTTON_RELEASE:
    if (reinterpret_cast<const xcb_button_release_event_t&>(event).detail == leftButton)
      view_->release();
    break;
  case XCB_MOTION_NOTIFY: {
    const auto& motion = reinterpret_cast<const xcb_motion_notify_event_t&>(event);
    const Pointer pointer = pointerAt(motion.event_x, motion.event_y, motion.state);
    pointer_ = pointer.at;
    view_->move(pointer);
    break;
  }
  case XCB_LEAVE_NOTIFY:
    pointer_ = nowhere;
    view_->leave();
    break;
  case XCB_DESTROY_NOTIFY:
    if (reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window == window_) {
      own_.windowIsThere = false;
      view_->release();
      break;
    }
    [[fallthrough]]; // a source of drags
  default:
    switch (own_.drop->handle(event)) {
    case DropTarget::News::entered:
      view_->dragOver(true);
      break;
    case DropTarget::News::left:
      view_->dragOver(false);
      break;
    case DropTarget::News::dropped:
      view_->drop(own_.drop->path());
      break;
    case DropTarget::News::none:
      break;
    }
  }
}

void X11Editor::buttonPressed(const xcb_button_press_event_t& event)
{
  Pointer pointer = pointerAt(event.event_x, event.event_y, event.state);
  pointer_ = pointer.at;
  if (event.detail == wheelAway || event.detail == wheelTowards) {
    view_->wheel(pointer.at, event.detail == wheelAway ? 1 : -1);
    return;
  }
  if (event.detail != leftButton)
    return;
  const bool again = own_.clicks == 1 && event.time - own_.lastPress < doubleClickMilliseconds &&
                     std::hypot(pointer.at.x - own_.lastPressAt.x,
                                pointer.at.y - own_.lastPressAt.y) < doubleClickDistance;
  own_.clicks = pointer.clicks = again ? 2 : 1;
  own_.lastPress = event.time;
  own_.lastPressAt = pointer.at;
  view_->press(pointer);
}

void X11Editor::look()
{
  const int64_t now = nanosecondsNow();
  // Noted before, so that what changes while the parts look is looked at again.
  seenChanges_.store(instrument_.activity().changes(), std::memory_order_relaxed);
  const std::lock_guard lock(viewMutex_);
  const bool moved = moves_.load(std::memory_order_relaxed);
  const double seconds = static_cast<double>(now - own_.lastLook) * 1e-9;
  own_.lastLook = now;
  moves_ = view_->look(moved ? seconds : 0);
}

void X11Editor::draw()
{
  if (!own_.windowIsThere || !own_.canvas->isGood())
    return;
  const std::lock_guard lock(viewMutex_);
  for (const Rect& rect : view_->draw(*own_.canvas))
    send(rect);
  for (const Rect& rect : own_.exposed)
    send(rect);
  own_.exposed.clear();
}

/// Copies a part of the canvas to the window, in pieces that a request can hold.
void X11Editor::send(const Rect& rect)
{
  Canvas& canvas = *own_.canvas;
  const int left =
      std::clamp(static_cast<int>(std::floor(rect.x * scale_)), 0, canvas.pixelWidth());
  const int top =
      std::clamp(static_cast<int>(std::floor(rect.y * scale_)), 0, canvas.pixelHeight());
  const int right =
      std::clamp(static_cast<int>(std::ceil(rect.right() * scale_)), left, canvas.pixelWidth());
  const int bottom =
      std::clamp(static_cast<int>(std::ceil(rect.bottom() * scale_)), top, canvas.pixelHeight());
  const size_t rowBytes = static_cast<size_t>(right - left) * bytesPerPixel;
  const size_t room = size_t{xcb_->xcb_get_maximum_request_length(connection_)} * 4 -
                      sizeof(xcb_put_image_request_t) - 4;
  if (rowBytes == 0 || rowBytes > room)
    return;
  const auto most = static_cast<int>(std::min<size_t>(room, 1 << 20) / rowBytes);
  for (int y = top; y < bottom; y += most) {
    const int rows = std::min(std::max(most, 1), bottom - y);
    own_.pixels.resize(rowBytes * static_cast<size_t>(rows));
    for (int i = 0; i < rows; ++i)
      std::memcpy(own_.pixels.data() + static_cast<size_t>(i) * rowBytes,
                  canvas.row(y + i) + static_cast<size_t>(left) * bytesPerPixel, rowBytes);
    xcb_->xcb_put_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window_, context_,
                        static_cast<uint16_t>(right - left), static_cast<uint16_t>(rows),
                        static_cast<int16_t>(left), static_cast<int16_t>(y), 0, depth_,
                        static_cast<uint32_t>(own_.pixels.size()), own_.pixels.data());
  }
}

/// Until the display or the host has something, or the next picture is due.
void X11Editor::wait()
{
  if (const Owned<xcb_generic_event_t> event{xcb_->xcb_poll_for_queued_event(connection_)}) {
    handle(*event); // came along with an answer, so poll wouldn't see it
    return;
  }
  pollfd sources[] = {{xcb_->xcb_get_file_descriptor(connection_), POLLIN, 0},
                      {wakeUp_, POLLIN, 0}};
  const bool shows = own_.windowIsThere && moves_.load(std::memory_order_relaxed);
  if (poll(sources, 2, shows ? frameMilliseconds : -1) > 0 && sources[1].revents) {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t bytes = read(wakeUp_, &count, sizeof count);
  }
}

} // namespace soundfont
