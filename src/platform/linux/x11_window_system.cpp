#include "platform/window_system.h"

#ifdef ORBI_HAVE_X11

#include "platform/file.h"
#include "platform/linux/x11_child_window.h"
#include "platform/linux/x11_clipboard.h"
#include "platform/linux/x11_cursors.h"
#include "platform/linux/x11_drop_target.h"
#include "platform/linux/x11_input_method.h"
#include "platform/linux/x11_window.h"
#include "platform/linux/x11_window_system.h"
#include "platform/run_loop.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <utility>

namespace orbi::platform {

// ---- life ---------------------------------------------------------------------------------------

std::unique_ptr<X11WindowSystem> X11WindowSystem::open(const std::string& program,
                                                       std::string& error)
{
  std::unique_ptr<X11WindowSystem> result(new X11WindowSystem);
  if (!result->start(program, error))
    return nullptr;
  return result;
}

bool X11WindowSystem::start(const std::string& program, std::string& error)
{
  letWritesFail(); // a display that goes away must not take us with it
  program_ = program;
  graphics_ = CairoGraphics::open(error);
  if (!graphics_ || !library_.load(error))
    return false;
  display_ = X11Display::open(library_, error);
  if (!display_)
    return false;
  keyboard_ = X11Keyboard::open(*display_, error);
  if (!keyboard_)
    return false;
  buffer_ = std::make_unique<X11PaintBuffer>(*display_, graphics_->library());
  cursors_ = std::make_unique<X11Cursors>(*display_);
  clipboard_ = std::make_unique<X11Clipboard>(*this);
  drop_ = std::make_unique<X11DropTarget>(*this);
  makeLeader();
  watchDesktop();
  inputMethod_ = X11InputMethod::open(*this);
  if (const char* id = std::getenv("DESKTOP_STARTUP_ID")) {
    startupId_ = std::string(id).substr(0, 1024);
    unsetenv("DESKTOP_STARTUP_ID"); // it isn't that of the programs that we start
  }
  RunLoop::instance()->addSource(*this);
  return true;
}

void X11WindowSystem::makeLeader()
{
  const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
  leader_ = library_.xcb_generate_id(display_->connection);
  library_.xcb_create_window(display_->connection, 0, leader_, display_->root(), -9, -9, 1, 1, 0,
                             XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                             &events);
  display_->setBytes(leader_, display_->atoms.netWmName, display_->atoms.utf8String, program_);
  constexpr std::string_view kind("helper\0QuillmoreDevWnd", 23);
  display_->setBytes(leader_, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, kind);
  display_->setNumber(leader_, display_->atoms.wmClientLeader, XCB_ATOM_WINDOW, leader_);
}

void X11WindowSystem::watchDesktop()
{
  xcb_connection_t* connection = display_->connection;
  const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
  library_.xcb_change_window_attributes(connection, display_->root(), XCB_CW_EVENT_MASK, &events);
  const auto* randr = library_.xcb_get_extension_data(connection, library_.xcb_randr_id);
  if (randr != nullptr && randr->present) {
    const auto version = display_->reply(library_.xcb_randr_query_version_reply,
                                         library_.xcb_randr_query_version(connection, 1, 5));
    // Earlier ones know no monitors.
    if (version && (version->major_version > 1 || version->minor_version >= 5)) {
      firstRandrEvent_ = randr->first_event;
      library_.xcb_randr_select_input(connection, display_->root(),
                                      XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE |
                                          XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE);
    }
  }
  hasManager_ = display_->hasManager();
  readResources();
  readScreens();
}

X11WindowSystem::~X11WindowSystem()
{
  if (RunLoop* loop = RunLoop::instance())
    loop->removeSource(*this);
  markAllDead();
}

/// The connection is gone, and with it all that there was on the display.
void X11WindowSystem::lose()
{
  if (std::exchange(lost_, true))
    return;
  RunLoop::instance()->removeSource(*this);
  events_.clear();
  motion_.reset();
  drop_->forget();
  markAllDead();
  if (listener_ != nullptr)
    listener_->displayLost();
}

void X11WindowSystem::markAllDead()
{
  const auto children = std::exchange(children_, {});
  const auto windows = std::exchange(windows_, {});
  for (const auto& [id, child] : children)
    child->markDead();
  for (const auto& [id, window] : windows)
    window->markDead();
}

/// When the user started us, which ends the identifier; none when the desktop doesn't say.
static xcb_timestamp_t timeOfStartup(std::string_view id)
{
  constexpr std::string_view name = "_TIME";
  xcb_timestamp_t result = XCB_CURRENT_TIME;
  if (const size_t at = id.rfind(name); at != id.npos)
    std::from_chars(id.data() + at + name.size(), id.data() + id.size(), result);
  return result;
}

/// Managers read this as the window is mapped, and give it the keys unless the user has done
/// something else since.
void X11WindowSystem::announceStartup(xcb_window_t window)
{
  if (startupId_.empty())
    return;
  const X11Atoms& atoms = display_->atoms;
  display_->setBytes(window, atoms.netStartupId, atoms.utf8String, startupId_);
  if (const xcb_timestamp_t time = timeOfStartup(startupId_); time != XCB_CURRENT_TIME)
    display_->setNumber(window, atoms.netWmUserTime, XCB_ATOM_CARDINAL, time);
}

/// What a desktop shows for a program that starts, such as a busy pointer, ends.
void X11WindowSystem::completeStartup()
{
  const std::string id = std::exchange(startupId_, {});
  if (id.empty())
    return;
  const X11Atoms& atoms = display_->atoms;
  std::string quoted;
  for (const char c : id) {
    if (c == '"' || c == '\\')
      quoted += '\\';
    quoted += c;
  }
  display_->broadcast(leader_, atoms.netStartupInfoBegin, atoms.netStartupInfo,
                      "remove: ID=\"" + quoted + '"');
}

// ---- windows ------------------------------------------------------------------------------------

std::unique_ptr<Window> X11WindowSystem::makeWindow(const WindowOptions& options,
                                                    WindowListener& listener)
{
  return lost_ ? nullptr : X11Window::make(*this, options, listener);
}

void X11WindowSystem::add(X11Window& window)
{
  windows_[window.id()] = &window;
  windows_[window.keyHolder()] = &window;
}

void X11WindowSystem::remove(X11Window& window)
{
  windows_.erase(window.id());
  windows_.erase(window.keyHolder());
  if (motion_ && motion_->event == window.id())
    motion_.reset();
  if (capturing_ == window.id())
    releaseCapture(capturing_);
  drop_->forget(window.id());
  // The server takes along what lies in it.
  std::erase_if(children_, [&](const auto& each) {
    const bool lies = each.second->parent() == window.id();
    if (lies)
      each.second->markDead();
    return lies;
  });
}

void X11WindowSystem::remove(X11ChildWindow& child)
{
  std::erase_if(children_, [&](const auto& each) { return each.second == &child; });
}

bool X11WindowSystem::isOurs(xcb_window_t id) const
{
  return id == leader_ || id == display_->root() || windows_.contains(id) || children_.contains(id);
}

X11Window* X11WindowSystem::find(xcb_window_t id) const
{
  const auto found = windows_.find(id);
  return found != windows_.end() ? found->second : nullptr;
}

X11Window* X11WindowSystem::activeWindow() const
{
  const auto found =
      std::ranges::find_if(windows_, [](const auto& each) { return each.second->isActive(); });
  return found != windows_.end() ? found->second : nullptr;
}

// ---- the pointer and the keys -------------------------------------------------------------------

bool X11WindowSystem::capture(X11Window& window, Window::Capture what)
{
  constexpr uint16_t events = XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE |
                              XCB_EVENT_MASK_POINTER_MOTION | XCB_EVENT_MASK_ENTER_WINDOW |
                              XCB_EVENT_MASK_LEAVE_WINDOW;
  xcb_connection_t* connection = display_->connection;
  const auto pointer = display_->reply(
      library_.xcb_grab_pointer_reply,
      library_.xcb_grab_pointer(connection, 0, window.id(), events, XCB_GRAB_MODE_ASYNC,
                                XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, XCB_CURRENT_TIME));
  if (!pointer || pointer->status != XCB_GRAB_STATUS_SUCCESS)
    return false;
  capturesKeys_ = what == Window::Capture::pointerAndKeys;
  if (capturesKeys_) {
    const auto keys =
        display_->reply(library_.xcb_grab_keyboard_reply,
                        library_.xcb_grab_keyboard(connection, 0, window.id(), XCB_CURRENT_TIME,
                                                   XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    if (!keys || keys->status != XCB_GRAB_STATUS_SUCCESS) {
      library_.xcb_ungrab_pointer(connection, XCB_CURRENT_TIME);
      capturesKeys_ = false;
      lostCapture_ = std::exchange(capturing_, 0);
      return false;
    }
  } else {
    library_.xcb_ungrab_keyboard(connection, XCB_CURRENT_TIME);
  }
  if (capturing_ != window.id())
    lostCapture_ = capturing_;
  capturing_ = window.id();
  return true;
}

void X11WindowSystem::releaseCapture(xcb_window_t window)
{
  if (lostCapture_ == window)
    lostCapture_ = 0;
  if (capturing_ != window)
    return;
  capturing_ = 0;
  capturesKeys_ = false;
  library_.xcb_ungrab_pointer(display_->connection, XCB_CURRENT_TIME);
  library_.xcb_ungrab_keyboard(display_->connection, XCB_CURRENT_TIME);
  library_.xcb_flush(display_->connection); // the user's desktop waits for it
}

Point X11WindowSystem::pointer() const
{
  const auto answer =
      display_->reply(library_.xcb_query_pointer_reply,
                      library_.xcb_query_pointer(display_->connection, display_->root()));
  return answer ? Point{answer->root_x, answer->root_y} : Point{};
}

std::string X11WindowSystem::focusedChildClass() const
{
  const auto focus = display_->reply(library_.xcb_get_input_focus_reply,
                                     library_.xcb_get_input_focus(display_->connection));
  const xcb_window_t holder = focus ? focus->focus : 0;
  if (holder <= XCB_INPUT_FOCUS_POINTER_ROOT || find(holder) != nullptr ||
      children_.contains(holder))
    return {};
  for (xcb_window_t each = holder; find(each) == nullptr;) {
    const auto tree = display_->reply(library_.xcb_query_tree_reply,
                                      library_.xcb_query_tree(display_->connection, each));
    if (!tree || tree->parent == XCB_NONE)
      return {}; // somebody else's
    each = tree->parent;
  }
  // Its own name, and after a zero that of its kind.
  const std::string names = display_->bytes(holder, XCB_ATOM_WM_CLASS);
  const size_t end = names.find('\0');
  return end != std::string::npos ? names.substr(end + 1).c_str() : std::string();
}

// ---- the rest -----------------------------------------------------------------------------------

void X11WindowSystem::setClipboard(std::string text)
{
  if (!lost_)
    clipboard_->set(std::move(text));
}

std::string X11WindowSystem::clipboard()
{
  return lost_ ? std::string() : clipboard_->read();
}

void X11WindowSystem::flush()
{
  library_.xcb_flush(display_->connection);
}

// ---- the loop -----------------------------------------------------------------------------------

int X11WindowSystem::descriptor() const
{
  return library_.xcb_get_file_descriptor(display_->connection);
}

bool X11WindowSystem::hasPending()
{
  if (lost_)
    return false;
  library_.xcb_flush(display_->connection);
  if (display_->isLost() || lostCapture_ != 0)
    return true;
  // Whoever waited for an answer has read events on the way.
  while (xcb_generic_event_t* event = library_.xcb_poll_for_queued_event(display_->connection))
    events_.emplace_back(event);
  return !events_.empty() || motion_ ||
         std::ranges::any_of(windows_, [](const auto& each) { return each.second->needsPaint(); });
}

X11WindowSystem::Events& X11WindowSystem::readEvents()
{
  while (events_.size() < mostEvents) {
    xcb_generic_event_t* event = library_.xcb_poll_for_event(display_->connection);
    if (event == nullptr)
      break;
    events_.emplace_back(event);
  }
  return events_;
}

} // namespace orbi::platform

#endif

namespace orbi::platform {

std::unique_ptr<WindowSystem> openWindowSystem(const std::string& program, std::string& error)
{
#ifdef ORBI_HAVE_X11
  return X11WindowSystem::open(program, error);
#else
  error = "This build of " + program + " knows no window system.";
  return nullptr;
#endif
}

} // namespace orbi::platform
