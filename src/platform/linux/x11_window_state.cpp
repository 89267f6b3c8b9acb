#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_window.h"
#include "platform/linux/x11_window_system.h"

#include <utility>

namespace orbi::platform {

// ---- showing ------------------------------------------------------------------------------------

void X11Window::show()
{
  if (system_ == nullptr)
    return;
  if (shown_) {
    activate();
    return;
  }
  shown_ = true;
  if (!system_->hasManager() && options_.kind == WindowKind::fullScreen)
    setClient(system_->screenAt(client_.middle()).bounds);
  else if (!system_->hasManager() && state_ == WindowState::maximized)
    maximizeByHand(true);
  wantsActivation_ = !isPopup() && state_ != WindowState::minimized;
  wantsMaximizing_ = state_ == WindowState::maximized;
  noteUserTime();
  system_->announceStartup(id_);
  writeStates();
  writeHints();
  writeSizeHints();
  const X11Library& x = display().x;
  if (isPopup()) {
    const uint32_t above = XCB_STACK_MODE_ABOVE;
    x.xcb_configure_window(display().connection, id_, XCB_CONFIG_WINDOW_STACK_MODE, &above);
  }
  x.xcb_map_window(display().connection, id_);
  system_->completeStartup();
}

void X11Window::hide()
{
  if (system_ == nullptr || !shown_)
    return;
  shown_ = false;
  system_->releaseCapture(id_);
  const X11Library& x = display().x;
  x.xcb_unmap_window(display().connection, id_);
  // Managers that had unmapped it themselves, to minimise it, learn from this that it's hidden.
  xcb_unmap_notify_event_t event[2]{}; // the server reads 32 bytes
  event[0].response_type = XCB_UNMAP_NOTIFY;
  event[0].event = display().root();
  event[0].window = id_;
  x.xcb_send_event(display().connection, 0, display().root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(event));
}

void X11Window::activate()
{
  if (system_ == nullptr || !shown_)
    return;
  const X11Library& x = display().x;
  if (state_ == WindowState::minimized)
    x.xcb_map_window(display().connection, id_);
  if (system_->hasManager() && !isPopup()) {
    constexpr uint32_t ofAnApplication = 1;
    const X11Window* former = system_->activeWindow();
    display().tellManager(id_, display().atoms.netActiveWindow,
                          {ofAnApplication, display().time, former ? former->id_ : 0, 0, 0});
    return;
  }
  const uint32_t above = XCB_STACK_MODE_ABOVE;
  x.xcb_configure_window(display().connection, id_, XCB_CONFIG_WINDOW_STACK_MODE, &above);
  if (!isPopup())
    focusByHand(XCB_CURRENT_TIME);
}

void X11Window::focusByHand(xcb_timestamp_t time)
{
  display().x.xcb_set_input_focus(display().connection, XCB_INPUT_FOCUS_PARENT, keyHolder_, time);
}

void X11Window::flash()
{
  if (system_ != nullptr && shown_ && !active_)
    changeState(true, display().atoms.netWmStateDemandsAttention);
}

// ---- places and states --------------------------------------------------------------------------

void X11Window::setClient(const Rect& client)
{
  const Rect place = clampedForX11(client);
  if (system_ == nullptr || place == client_)
    return;
  const bool sizes = place.size() != client_.size();
  client_ = place;
  placeIsAsked_ = true;
  placeIsOfParent_ = false; // whatever it was, it is over
  if (sizes || !shown_)
    writeSizeHints(); // before, as they may forbid it
  const uint32_t values[] = {static_cast<uint32_t>(place.left), static_cast<uint32_t>(place.top),
                             static_cast<uint32_t>(place.width()),
                             static_cast<uint32_t>(place.height())};
  display().x.xcb_configure_window(display().connection, id_,
                                   XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y |
                                       XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                                   values);
}

void X11Window::setState(WindowState state)
{
  if (system_ == nullptr || state == state_)
    return;
  if (!shown_) {
    state_ = toldState_ = state;
    return;
  }
  switch (state) {
  case WindowState::minimized:
    minimize();
    break;
  case WindowState::maximized:
    if (state_ == WindowState::minimized)
      activate();
    if (system_->hasManager())
      changeState(true, display().atoms.netWmStateMaximizedVert,
                  display().atoms.netWmStateMaximizedHorz);
    else
      maximizeByHand(true);
    break;
  case WindowState::normal:
    restore();
    break;
  }
}

/// Without a manager nobody could bring it back.
void X11Window::minimize()
{
  constexpr uint32_t iconicState = 3;
  if (system_->hasManager())
    display().tellManager(id_, display().atoms.wmChangeState, {iconicState, 0, 0, 0, 0});
}

void X11Window::restore()
{
  if (state_ == WindowState::minimized)
    activate();
  else if (system_->hasManager())
    changeState(false, display().atoms.netWmStateMaximizedVert,
                display().atoms.netWmStateMaximizedHorz);
  else
    maximizeByHand(false);
}

void X11Window::maximizeByHand(bool on)
{
  if (on)
    normalClient_ = client_;
  state_ = on ? WindowState::maximized : WindowState::normal;
  setClient(on ? system_->screenAt(client_.middle()).workArea : normalClient_);
}

// ---- what the server told -----------------------------------------------------------------------

void X11Window::handleConfigure(const xcb_configure_notify_event_t& event)
{
  const Size size{event.width, event.height};
  const bool isSent =
      (event.response_type & 0x80) != 0; // by the manager, which counts from the root
  placeIsOfParent_ = !isSent && parent_ != display().root();
  client_ = Rect::at(placeIsOfParent_ ? client_.origin() : Point{event.x, event.y}, size);
  placeChanged_ = true;
}

void X11Window::handleReparent(xcb_window_t parent)
{
  parent_ = parent;
  placeIsOfParent_ = true;
  placeChanged_ = true;
}

void X11Window::handleMapped()
{
  mapped_ = true;
  const bool activates = wantsActivation_ && !active_;
  wantsActivation_ = false;
  // A manager that was still busy with hiding it has wiped out what it was asked for before.
  if (wantsMaximizing_ && system_->hasManager())
    changeState(true, display().atoms.netWmStateMaximizedVert,
                display().atoms.netWmStateMaximizedHorz);
  wantsMaximizing_ = false;
  if (activates)
    activate();
}

void X11Window::handleUnmapped()
{
  mapped_ = false;
  takeDamage();
}

void X11Window::handleProperty(xcb_atom_t property)
{
  const X11Atoms& atoms = display().atoms;
  if (property == atoms.netWmState || property == atoms.wmState)
    placeChanged_ = stateIsStale_ = true;
  else if (property == atoms.netFrameExtents)
    readExtents();
}

void X11Window::handleFocus(bool active)
{
  if (active == active_)
    return;
  active_ = active;
  if (active)
    listener_.windowActivated();
  else
    listener_.windowDeactivated();
}

void X11Window::handleTakeFocus(xcb_timestamp_t time)
{
  focusByHand(time);
}

void X11Window::tellPlace()
{
  if (!placeChanged_)
    return;
  placeChanged_ = false;
  if (placeIsOfParent_)
    if (const auto place = display().onRoot(id_))
      client_ = Rect::at(*place, client_.size());
  placeIsOfParent_ = false;
  // A size may come before the state that it belongs to.
  if (stateIsStale_ || client_.size() != toldClient_.size())
    readState();

  X11WindowSystem& system = *system_;
  const xcb_window_t id = id_;
  // What was asked for may have been refused, and then the former place is news.
  const bool isNews = std::exchange(placeIsAsked_, false);
  const Rect told = toldClient_;
  const Rect present = client_;
  toldClient_ = present;
  if (state_ != toldState_) {
    toldState_ = state_;
    listener_.windowStateChanged(state_);
  }
  if (system.find(id) == this && (isNews || present.origin() != told.origin()))
    listener_.windowMoved(present.origin());
  if (system.find(id) != this || (!isNews && present.size() == told.size()))
    return;
  invalidate({0, 0, present.width(), present.height()});
  listener_.windowResized(present.size());
}

} // namespace orbi::platform

#endif
