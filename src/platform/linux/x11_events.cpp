#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_child_window.h"
#include "platform/linux/x11_clipboard.h"
#include "platform/linux/x11_drop_target.h"
#include "platform/linux/x11_input_method.h"
#include "platform/linux/x11_window.h"
#include "platform/linux/x11_window_system.h"
#include "platform/utf8_text.h"

#include <algorithm>
#include <utility>

namespace orbi::platform {

namespace {

constexpr int32_t notch = 120;

/// By the server's number for it.
constexpr uint32_t buttonOf(uint8_t detail)
{
  constexpr uint32_t buttons[] = {0, leftButton, middleButton, rightButton};
  return detail < std::size(buttons) ? buttons[detail] : 0;
}

/// Events with a pointer all hold the same.
template <typename Event>
PointerEvent pointerEvent(const Event& event)
{
  PointerEvent result;
  result.position = {event.event_x, event.event_y};
  result.screen = {event.root_x, event.root_y};
  result.buttons = buttonsOfState(event.state);
  result.modifiers = modifiersOfState(event.state);
  result.milliseconds = event.time;
  return result;
}

} // namespace

struct X11WindowSystem::Handler {
  uint8_t type;
  void (X11WindowSystem::*handle)(const xcb_generic_event_t& event);
};

#define ORBI_X11_HANDLER(type, event, method)                                                      \
  {                                                                                                \
    type, &X11WindowSystem::as<event, &X11WindowSystem::method>                                    \
  }
const X11WindowSystem::Handler X11WindowSystem::handlers[] = {
    ORBI_X11_HANDLER(XCB_KEY_PRESS, xcb_key_press_event_t, key),
    ORBI_X11_HANDLER(XCB_KEY_RELEASE, xcb_key_press_event_t, key),
    ORBI_X11_HANDLER(XCB_BUTTON_PRESS, xcb_button_press_event_t, press),
    ORBI_X11_HANDLER(XCB_BUTTON_RELEASE, xcb_button_release_event_t, release),
    ORBI_X11_HANDLER(XCB_MOTION_NOTIFY, xcb_motion_notify_event_t, motion),
    ORBI_X11_HANDLER(XCB_ENTER_NOTIFY, xcb_enter_notify_event_t, enter),
    ORBI_X11_HANDLER(XCB_LEAVE_NOTIFY, xcb_leave_notify_event_t, leave),
    ORBI_X11_HANDLER(XCB_FOCUS_IN, xcb_focus_in_event_t, focusIn),
    ORBI_X11_HANDLER(XCB_FOCUS_OUT, xcb_focus_out_event_t, focusOut),
    ORBI_X11_HANDLER(XCB_EXPOSE, xcb_expose_event_t, expose),
    ORBI_X11_HANDLER(XCB_CONFIGURE_NOTIFY, xcb_configure_notify_event_t, configure),
    ORBI_X11_HANDLER(XCB_REPARENT_NOTIFY, xcb_reparent_notify_event_t, reparent),
    ORBI_X11_HANDLER(XCB_MAP_NOTIFY, xcb_map_notify_event_t, map),
    ORBI_X11_HANDLER(XCB_UNMAP_NOTIFY, xcb_unmap_notify_event_t, unmap),
    ORBI_X11_HANDLER(XCB_DESTROY_NOTIFY, xcb_destroy_notify_event_t, destroy),
    ORBI_X11_HANDLER(XCB_PROPERTY_NOTIFY, xcb_property_notify_event_t, property),
    ORBI_X11_HANDLER(XCB_CLIENT_MESSAGE, xcb_client_message_event_t, message),
    ORBI_X11_HANDLER(XCB_SELECTION_REQUEST, xcb_selection_request_event_t, selectionAsked),
    ORBI_X11_HANDLER(XCB_SELECTION_CLEAR, xcb_selection_clear_event_t, selectionLost),
    ORBI_X11_HANDLER(XCB_SELECTION_NOTIFY, xcb_selection_notify_event_t, selectionCame),
};
#undef ORBI_X11_HANDLER

// ---- a pass of the loop -------------------------------------------------------------------------

/// What the user did, and what may follow from it: it comes into effect before the next such event
/// finds whom it is for.
static bool isAct(const xcb_generic_event_t& event)
{
  constexpr uint8_t acts[] = {XCB_KEY_PRESS,      XCB_KEY_RELEASE,    XCB_BUTTON_PRESS,
                              XCB_BUTTON_RELEASE, XCB_CLIENT_MESSAGE, XCB_SELECTION_NOTIFY};
  return std::ranges::count(acts, event.response_type & 0x7f) != 0;
}

/// A listener may run the loop within its event, so nothing of the pass is held but in members.
/// After an act the loop comes back at once for what waits.
void X11WindowSystem::dispatch()
{
  readEvents();
  while (!events_.empty()) {
    const auto event = std::move(events_.front());
    events_.pop_front();
    if (!inputMethod_ || !inputMethod_->filter(*event))
      handle(*event);
    if (isAct(*event) && !events_.empty())
      return;
  }
  tellMotion();
  tellLostCapture();
  tellPlaces();
  tellScreens();
  paintWindows();
  library_.xcb_flush(display_->connection);
  if (display_->isLost())
    lose();
}

void X11WindowSystem::handle(const xcb_generic_event_t& event)
{
  const uint8_t type = event.response_type & 0x7f;
  if (keyboard_->handle(event))
    return;
  if (firstRandrEvent_ != 0 && (type == firstRandrEvent_ || type == firstRandrEvent_ + 1)) {
    screensMayHaveChanged_ = true;
    return;
  }
  for (const Handler& each : handlers)
    if (each.type == type) {
      (this->*each.handle)(event);
      return;
    }
}

std::vector<xcb_window_t> X11WindowSystem::windowIds() const
{
  std::vector<xcb_window_t> result;
  for (const auto& [id, window] : windows_)
    if (id == window->id())
      result.push_back(id);
  return result;
}

void X11WindowSystem::tellMotion()
{
  const auto last = std::exchange(motion_, std::nullopt);
  if (!last)
    return;
  if (X11Window* window = find(last->event))
    window->listener().pointerMoved(pointerEvent(*last));
}

void X11WindowSystem::tellLostCapture()
{
  if (X11Window* window = find(std::exchange(lostCapture_, 0)))
    window->listener().captureLost();
}

void X11WindowSystem::tellPlaces()
{
  for (const xcb_window_t id : windowIds())
    if (X11Window* window = find(id))
      window->tellPlace();
}

void X11WindowSystem::paintWindows()
{
  for (const xcb_window_t id : windowIds())
    if (X11Window* window = find(id))
      window->paint();
}

// ---- the pointer --------------------------------------------------------------------------------

/// Of an event before which the pointer's last move has to be told.
X11Window* X11WindowSystem::target(xcb_window_t id)
{
  tellMotion();
  return find(id);
}

void X11WindowSystem::press(const xcb_button_press_event_t& event)
{
  display_->time = event.time;
  X11Window* window = target(event.event);
  if (window == nullptr)
    return;
  window->noteUserTime();
  const uint32_t button = buttonOf(event.detail);
  if (button == 0) {
    turnWheel(event);
    return;
  }
  if (!hasManager_ && !window->isActive() && !window->isPopup())
    window->activate();
  else if (window->isActive() && event.child == XCB_NONE && capturing_ == 0)
    window->takeKeys(); // from a plug-in's child
  PointerEvent told = pointerEvent(event);
  told.button = button;
  told.buttons |= button;
  window->listener().buttonPressed(told);
}

void X11WindowSystem::release(const xcb_button_release_event_t& event)
{
  display_->time = event.time;
  X11Window* window = target(event.event);
  const uint32_t button = buttonOf(event.detail);
  if (window == nullptr || button == 0)
    return;
  PointerEvent told = pointerEvent(event);
  told.button = button;
  told.buttons &= ~button;
  window->listener().buttonReleased(told);
}

void X11WindowSystem::turnWheel(const xcb_button_press_event_t& event)
{
  struct Row {
    uint8_t detail;
    int32_t distance, horizontal;
  };
  constexpr Row rows[] = {{4, notch, 0}, {5, -notch, 0}, {6, 0, -notch}, {7, 0, notch}};
  for (const Row& row : rows)
    if (row.detail == event.detail) {
      find(event.event)
          ->listener()
          .wheelTurned({pointerEvent(event), row.distance, row.horizontal});
      return;
    }
}

void X11WindowSystem::motion(const xcb_motion_notify_event_t& event)
{
  display_->time = event.time;
  if (motion_ && motion_->event != event.event)
    tellMotion();
  motion_ = event;
}

void X11WindowSystem::enter(const xcb_enter_notify_event_t& event)
{
  if (event.mode == XCB_NOTIFY_MODE_GRAB)
    return;
  xcb_motion_notify_event_t moved{};
  moved.event = event.event;
  moved.time = event.time;
  moved.event_x = event.event_x;
  moved.event_y = event.event_y;
  moved.root_x = event.root_x;
  moved.root_y = event.root_y;
  moved.state = event.state;
  motion(moved);
}

void X11WindowSystem::leave(const xcb_leave_notify_event_t& event)
{
  const bool drags = event.mode == XCB_NOTIFY_MODE_NORMAL && buttonsOfState(event.state) != 0;
  if (drags || capturing_ == event.event)
    return;
  if (X11Window* window = target(event.event))
    window->listener().pointerLeft();
}

// ---- the keys -----------------------------------------------------------------------------------

void X11WindowSystem::key(const xcb_key_press_event_t& event)
{
  display_->time = event.time;
  if (!inputMethod_ || !inputMethod_->take(event))
    handleKey(event);
}

void X11WindowSystem::handleText(xcb_window_t id, const std::string& text)
{
  X11Window* window = target(id);
  KeyEvent told;
  told.text = validUtf8(text);
  told.milliseconds = display_->time;
  if (window != nullptr && listener_ != nullptr && !text.empty())
    listener_->keyPressed(*window, told);
}

void X11WindowSystem::handleKey(const xcb_key_press_event_t& event)
{
  X11Window* window = target(event.event);
  const bool isPress = (event.response_type & 0x7f) == XCB_KEY_PRESS;
  if (!isPress) {
    const auto told = keyboard_->release(event);
    if (told && window != nullptr && listener_ != nullptr)
      listener_->keyReleased(*window, *told);
    return;
  }
  const auto told = keyboard_->press(event);
  if (window == nullptr)
    return;
  window->noteUserTime();
  if (told && listener_ != nullptr)
    listener_->keyPressed(*window, *told);
}

/// Those that are down go up for us, as we won't hear of it.
void X11WindowSystem::releaseKeys(X11Window& window)
{
  const xcb_window_t id = window.id();
  keyboard_->forgetComposing();
  while (const auto told = keyboard_->releaseAny())
    if (listener_ != nullptr && find(id) != nullptr)
      listener_->keyReleased(window, *told);
}

/// Of a window that has the keys itself, not one that lies in it.
static bool isOwn(uint8_t detail)
{
  return detail == XCB_NOTIFY_DETAIL_ANCESTOR || detail == XCB_NOTIFY_DETAIL_NONLINEAR ||
         detail == XCB_NOTIFY_DETAIL_INFERIOR;
}

static bool isVirtual(uint8_t detail)
{
  return detail == XCB_NOTIFY_DETAIL_VIRTUAL || detail == XCB_NOTIFY_DETAIL_NONLINEAR_VIRTUAL;
}

static bool isGrab(uint8_t mode)
{
  return mode == XCB_NOTIFY_MODE_GRAB || mode == XCB_NOTIFY_MODE_UNGRAB;
}

void X11WindowSystem::focusIn(const xcb_focus_in_event_t& event)
{
  X11Window* window = find(event.event);
  if (window == nullptr || event.event != window->id() || isGrab(event.mode))
    return;
  if (isOwn(event.detail))
    window->takeKeys(); // where the one that holds them should
  if (!isOwn(event.detail) && !isVirtual(event.detail))
    return;
  if (inputMethod_)
    inputMethod_->focus(*window);
  window->handleFocus(true);
}

void X11WindowSystem::focusOut(const xcb_focus_out_event_t& event)
{
  X11Window* window = find(event.event);
  if (window == nullptr || event.mode == XCB_NOTIFY_MODE_UNGRAB)
    return;
  const bool isOurGrab = event.mode == XCB_NOTIFY_MODE_GRAB && capturesKeys_;
  if (isOurGrab || !(isOwn(event.detail) || isVirtual(event.detail)))
    return;
  releaseKeys(*window);
  const bool leaves =
      event.mode != XCB_NOTIFY_MODE_GRAB && event.detail != XCB_NOTIFY_DETAIL_INFERIOR;
  window = find(event.event);
  if (window == nullptr || event.event != window->id() || !leaves)
    return;
  if (inputMethod_)
    inputMethod_->unfocus();
  window->handleFocus(false);
}

// ---- windows ------------------------------------------------------------------------------------

void X11WindowSystem::expose(const xcb_expose_event_t& event)
{
  if (X11Window* window = find(event.window))
    window->invalidate(Rect::at({event.x, event.y}, {event.width, event.height}));
}

void X11WindowSystem::configure(const xcb_configure_notify_event_t& event)
{
  if (event.window == display_->root())
    screensMayHaveChanged_ = true;
  else if (X11Window* window = find(event.window))
    window->handleConfigure(event);
}

void X11WindowSystem::reparent(const xcb_reparent_notify_event_t& event)
{
  if (X11Window* window = find(event.window))
    window->handleReparent(event.parent);
}

void X11WindowSystem::map(const xcb_map_notify_event_t& event)
{
  if (X11Window* window = find(event.window))
    window->handleMapped();
}

void X11WindowSystem::unmap(const xcb_unmap_notify_event_t& event)
{
  X11Window* window = find(event.window);
  if (window == nullptr)
    return;
  window->handleUnmapped();
  if (capturing_ == event.window) { // the server has let go of the pointer
    releaseCapture(event.window);
    window->listener().captureLost();
  }
}

void X11WindowSystem::destroy(const xcb_destroy_notify_event_t& event)
{
  if (const auto child = children_.find(event.window); child != children_.end()) {
    child->second->markDead();
    children_.erase(child);
  } else if (X11Window* window = find(event.window); window != nullptr) {
    window->tellDestroyed();
    return;
  }
  clipboard_->handle(event);
  drop_->handle(event);
}

void X11WindowSystem::property(const xcb_property_notify_event_t& event)
{
  display_->time = event.time;
  if (event.window == display_->root())
    desktopChanged(event.atom);
  else if (clipboard_->handle(event) || drop_->handle(event))
    return;
  else if (X11Window* window = find(event.window))
    window->handleProperty(event.atom);
}

void X11WindowSystem::message(const xcb_client_message_event_t& event)
{
  if (event.format != 32 || (event.window != leader_ && find(event.window) == nullptr))
    return;
  if (event.type == display_->atoms.wmProtocols)
    protocol(event);
  else
    drop_->handle(event);
}

void X11WindowSystem::protocol(const xcb_client_message_event_t& event)
{
  const X11Atoms& atoms = display_->atoms;
  const uint32_t* data = event.data.data32;
  X11Window* window = target(event.window);
  if (window == nullptr)
    return;
  if (data[0] == atoms.wmDeleteWindow)
    window->listener().windowCloseRequested();
  else if (data[0] == atoms.wmTakeFocus)
    window->handleTakeFocus(data[1]);
  else if (data[0] == atoms.netWmPing)
    display_->tellManager(display_->root(), event.type,
                          {data[0], data[1], data[2], data[3], data[4]});
}

// ---- selections ---------------------------------------------------------------------------------

void X11WindowSystem::selectionAsked(const xcb_selection_request_event_t& event)
{
  clipboard_->answer(event);
}

void X11WindowSystem::selectionLost(const xcb_selection_clear_event_t& event)
{
  if (event.selection == display_->atoms.clipboard)
    clipboard_->forget();
}

void X11WindowSystem::selectionCame(const xcb_selection_notify_event_t& event)
{
  drop_->handle(event);
}

} // namespace orbi::platform

#endif
