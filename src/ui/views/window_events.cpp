#include "foundation/message.h"
#include "platform/clock.h"
#include "ui/application.h"
#include "ui/views/desktop.h"
#include "ui/views/radio_group.h"
#include "ui/views/window_properties.h"

#include <algorithm>
#include <utility>

// What happens to a window, and how its views hear of it.

namespace orbi {

// Place and state

void UWindow::onMoved(Point origin)
{
  place_ = Rect::at(origin, place_.size());
  if (!(state_ & (stateMaximized | stateMinimized)))
    normalPlace_ = place_;
}

void UWindow::onResize(const Rect& client)
{
  const Size former = place_.size();
  if (client.size() == former)
    return;
  place_ = Rect::at(place_.origin(), client.size());
  if (!(state_ & (stateMaximized | stateMinimized)))
    normalPlace_ = place_;
  applySize(former);
}

/// A state that the style doesn't allow is taken back. One that is minimized keeps in mind that it
/// was maximized.
void UWindow::onState(platform::WindowState state)
{
  if (state != platform::WindowState::minimized)
    state_ &= ~uint32_t(stateMinimized);
  if (state == platform::WindowState::normal)
    state_ &= ~uint32_t(stateMaximized);
  else if (state == platform::WindowState::maximized && hasStyle(styleMaximize))
    enterState(stateMaximized, "MsgWindowWillMaximize", "MsgWindowMaximized");
  else if (state == platform::WindowState::minimized &&
           (hasStyle(styleMinimize) || goesWithOwner()))
    enterState(stateMinimized, "MsgWindowWillMinimize", nullptr);
  else
    system()->setState(platform::WindowState::normal);
  if (properties_)
    properties_->show();
}

/// Desktops hide what belongs to a window together with it.
bool UWindow::goesWithOwner() const
{
  return owner_ || kind() == platform::WindowKind::modal || kind() == platform::WindowKind::panel;
}

void UWindow::enterState(State state, const char* before, const char* after)
{
  if (state_ & state)
    return;
  tellControllers(before, state);
  state_ |= state;
  if (after)
    tellControllers(after, state);
}

void UWindow::onActivate()
{
  UDesktop& desktop = *UDesktop::instance();
  if (desktop.activeWindow_ == this)
    return;
  if (UWindow* former = desktop.activeWindow_)
    former->onDeactivate();
  desktop.activeWindow_ = this;
  desktop.toFront(*this);
  if (!desktop.frontPopup()) // which has the keys
    tellFocus(true);
  tellControllers("MsgWindowOnActivate", 1);
}

void UWindow::onDeactivate()
{
  if (!isActive())
    return; // heard of it already, when another one became active
  tellFocus(false);
  if (UDesktop* desktop = UDesktop::instance(); desktop && desktop->activeWindow_ == this)
    desktop->activeWindow_ = nullptr;
  tellControllers("MsgWindowOnActivate", 0);
}

void UWindow::onPaint(Canvas& canvas, std::span<const Rect> damage)
{
  painted_ = true;
  drawTree(canvas, damage, {});
  if (!hasStyle(styleNoOffscreen))
    state_ |= stateOffscreen;
}

void UWindow::onCloseRequest()
{
  if (canClose())
    close();
}

/// Nothing is left to close.
void UWindow::onDestroyed()
{
  closeNow();
}

// Controllers

void UWindow::tellControllers(FMessage& message)
{
  tellController(message);
  const std::vector<Ref<UView>> before(children().begin(), children().end());
  for (const Ref<UView>& child : before)
    if (auto* form = castTo<UBaseView>(child.get()); form && form->controller() != controller())
      form->tellController(message);
}

void UWindow::tellControllers(const char* id, uint32_t state, const UPoint* oldSize)
{
  FMessage message(id);
  message.setObject("Window", this);
  message.setInt("state", state);
  auto size = oldSize ? make<UPoint>(oldSize->point()) : nullptr;
  if (size)
    message.setObject("OldSize", size.get());
  tellControllers(message);
}

// Focus

void UWindow::tellFocus(bool has)
{
  UApplication* application = UApplication::instance();
  if (application && has)
    application->setActiveControl(focusView_);
  else if (application && focusView_ && application->activeControl() == focusView_)
    application->setActiveControl(nullptr);
  if (const Ref<UView> kept = Ref<UView>::share(focusView_))
    kept->onFocus(has);
}

bool UWindow::setFocusView(UView* view)
{
  if (view == focusView_)
    return true;
  if (view && (!view->isWithin(*this) || !view->isShown() || !view->isEnabled()))
    return false;
  if (isActive())
    tellFocus(false);
  focusView_ = view;
  if (isActive())
    tellFocus(true);
  return true;
}

bool UWindow::focusNext(bool backwards)
{
  const std::vector<UView*> views = focusableViews();
  if (views.empty())
    return false;
  const auto present = std::ranges::find(views, focusView_);
  const auto count = static_cast<ptrdiff_t>(views.size());
  const ptrdiff_t from = present != views.end() ? present - views.begin() : backwards ? 0 : -1;
  const ptrdiff_t to = (from + (backwards ? count - 1 : 1)) % count;
  return setFocusView(views[static_cast<size_t>(to)]);
}

// Pointer

UMouseEvent UWindow::inView(const UMouseEvent& event, const UView& view) const
{
  return event.movedTo(view.fromWindow(event.where));
}

void UWindow::onMouseDown(const UMouseEvent& event)
{
  lastMouse_ = event.where;
  if (const Ref<UView> holder = Ref<UView>::share(mouseView_)) {
    holder->mouseDown(inView(event, *holder));
    return;
  }
  if (UView* view = viewAt(event.where, Reach::enabled))
    pressView(*view, event);
}

/// The view holds the pointer already while it hears of the press, so that whatever takes it away
/// meanwhile, such as a dialog that the view runs, has the last word.
void UWindow::pressView(UView& view, const UMouseEvent& event)
{
  const Ref<UView> kept = Ref<UView>::share(&view);
  if (view.isFocusable())
    setFocusView(&view);
  mouseView_ = &view;
  const bool isTaken = view.mouseDown(inView(event, view));
  if (isTaken || mouseView_ != &view)
    return;
  mouseView_ = nullptr;
  if (event.button != platform::leftButton || !hasStyle(styleClientMovable))
    return;
  dragging_ = true;
  dragFrom_ = {event.screen.x - place_.left, event.screen.y - place_.top};
}

void UWindow::onRightMouseDown(const UMouseEvent& event)
{
  lastMouse_ = event.where;
  const Ref<UView> view = Ref<UView>::share(viewAt(event.where, Reach::enabled));
  if (!view)
    return;
  const UMouseEvent own = inView(event, *view);
  auto where = make<UPoint>(own.where);
  FMessage message("RightMouseClick");
  message.setObject("View", view.get());
  message.setObject("Window", this);
  message.setObject("Where", where.get());
  if (view->handleMessage(message) == 0)
    popupMenu(view.get(), event.where);
}

void UWindow::onMouseMove(const UMouseEvent& event)
{
  lastMouse_ = event.where;
  if (dragging_)
    dragBy(event);
  else if (const Ref<UView> holder = Ref<UView>::share(mouseView_))
    holder->mouseMoved(inView(event, *holder));
  else
    hoverAt(event);
  updateCursor();
}

void UWindow::dragBy(const UMouseEvent& event)
{
  const Point origin{event.screen.x - dragFrom_.x, event.screen.y - dragFrom_.y};
  setRect(Rect::at(origin, place_.size()));
}

void UWindow::onMouseUp(const UMouseEvent& event)
{
  lastMouse_ = event.where;
  dragging_ = dragging_ && event.buttons != 0;
  const Ref<UView> holder = Ref<UView>::share(mouseView_);
  if (event.buttons == 0) {
    mouseView_ = nullptr;
    dropCapture();
  }
  if (holder)
    holder->mouseUp(inView(event, *holder));
  if (isOpen() && !mouseView_)
    hoverAt(event);
  updateCursor();
}

void UWindow::onMouseLeave()
{
  if (!mouseView_)
    setHoverView(nullptr);
}

void UWindow::hoverAt(const UMouseEvent& event)
{
  setHoverView(viewAt(event.where));
  if (const Ref<UView> view = Ref<UView>::share(hoverView_); view && event.button == 0)
    view->mouseMoved(inView(event, *view));
}

void UWindow::setHoverView(UView* view)
{
  if (view == hoverView_)
    return;
  const Ref<UView> former = Ref<UView>::share(hoverView_);
  const Ref<UView> next = Ref<UView>::share(view);
  hoverView_ = view;
  if (former)
    former->mouseLeft();
  if (next && hoverView_ == view)
    next->mouseEntered();
}

bool UWindow::takeMouse(UView& view)
{
  if (!isOpen() || !view.isWithin(*this) || !system()->capture(platform::Window::Capture::pointer))
    return false;
  if (mouseView_ != &view)
    cancelMouse();
  mouseView_ = &view;
  captured_ = true;
  return true;
}

void UWindow::releaseMouse(UView& view)
{
  if (mouseView_ != &view)
    return;
  mouseView_ = nullptr;
  dropCapture();
}

/// What `takeMouse` took; a popup keeps what it needs itself.
void UWindow::dropCapture()
{
  if (!std::exchange(captured_, false) || !isOpen())
    return;
  if (kind() == platform::WindowKind::popup && takesInput())
    system()->capture(platform::Window::Capture::pointerAndKeys);
  else
    system()->releaseCapture();
}

void UWindow::cancelMouse()
{
  dragging_ = false;
  const Ref<UView> holder = Ref<UView>::share(mouseView_);
  mouseView_ = nullptr;
  dropCapture();
  if (holder)
    holder->mouseCancelled();
}

void UWindow::viewsAt(Point point, std::vector<UView*>& views)
{
  const size_t first = views.size();
  for (UView* view = viewAt(point); view; view = view->parent())
    views.push_back(view);
  std::reverse(views.begin() + static_cast<ptrdiff_t>(first), views.end());
}

void UWindow::updateCursor()
{
  const UDesktop* desktop = UDesktop::instance();
  if (!isOpen() || !desktop)
    return;
  const UView* view = mouseView_ ? mouseView_ : hoverView_;
  platform::Cursor cursor = view ? view->cursor() : this->cursor();
  if (desktop->isBusy() && !desktop->modalWindow()) // which waits for the user
    cursor = platform::Cursor::wait;
  if (cursor == shownCursor_)
    return;
  shownCursor_ = cursor;
  system()->setCursor(cursor);
}

bool UWindow::onWheel(FMessage& message, Point where)
{
  std::vector<UView*> views;
  viewsAt(where, views);
  const std::vector<Ref<UView>> kept = [&] {
    std::vector<Ref<UView>> shared;
    for (UView* view : views)
      shared.push_back(Ref<UView>::share(view));
    return shared;
  }();
  return std::any_of(kept.rbegin(), kept.rend(),
                     [&](const Ref<UView>& view) { return view->handleMessage(message) != 0; });
}

// Views that leave

void UWindow::letGo(UView& view)
{
  const auto leaves = [&](UView* each) { return each && each->isWithin(view); };
  if (leaves(focusView_))
    setFocusView(nullptr);
  if (leaves(mouseView_))
    cancelMouse();
  if (leaves(hoverView_))
    setHoverView(nullptr);
}

void UWindow::viewRemoved(UView& view)
{
  for (UView** bar : {&menuBar_, &statusView_, &sizeGrip_})
    if (*bar == &view)
      *bar = nullptr;
  const auto leaves = [&](UView* each) { return each->isWithin(view); };
  if (std::erase_if(timed_, [&](const TimedView& each) { return leaves(each.view); }) != 0)
    restartTimer();
}

// Notifications and messages

void UWindow::command(UView& control, Command code)
{
  const Ref<UView> kept = Ref<UView>::share(&control);
  if (code == commandForward) {
    UApplication* application = UApplication::instance();
    const auto active = Ref<UView>::share(application ? application->activeControl() : nullptr);
    FMessage message("Text Edit");
    message.setObject("View", &control);
    if (active)
      active->handleMessage(message);
    return;
  }
  if (code == commandSelection) {
    FMessage message("Selection Changed");
    message.setObject("Viewer", &control);
    control.handleMessage(message);
    return;
  }
  if (URadioGroup* group = URadioGroup::groupOf(control))
    group->choose(control);
  if (UDesktop* desktop = UDesktop::instance())
    desktop->clearPress();
  UMouseEvent click;
  click.screen = toScreen(control.toWindow(Point{}));
  click.clicks = 1;
  control.mouseDown(click);
}

void UWindow::onTimer()
{
  const int64_t now = platform::steadyNanoseconds() / 1000000;
  std::vector<Ref<UView>> due;
  for (TimedView& each : timed_)
    if (each.due <= now) {
      const int64_t missed = (now - each.due) / each.period; // as the loop's timers reckon it
      each.due += (missed + 1) * each.period;
      due.push_back(Ref<UView>::share(each.view));
    }
  FMessage message("Timer");
  message.setObject("Timer", this);
  for (const Ref<UView>& view : due)
    if (std::ranges::find(timed_, view.get(), &TimedView::view) != timed_.end())
      view->handleMessage(message);
}

int32_t UWindow::handleMessage(FMessage& message)
{
  if (message.isMessage(closeMessage))
    closeNow();
  else if (message.isMessage("Idle"))
    idle();
  else
    return UBaseView::handleMessage(message);
  return 1;
}

} // namespace orbi
