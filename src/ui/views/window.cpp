#include "ui/views/window.h"

#include "foundation/class_registry.h"
#include "foundation/dependencies.h"
#include "platform/clock.h"
#include "ui/application.h"
#include "ui/views/desktop.h"
#include "ui/views/graphics.h"
#include "ui/views/size_grip.h"
#include "ui/views/window_proc.h"
#include "ui/views/window_properties.h"

#include <algorithm>
#include <array>
#include <cmath>

// A window's life, place and state. What happens to it is in window_events.cpp.

namespace orbi {

CM_REGISTER(UWindow);

namespace {

/// By which window managers and scripts know the kinds, in the order of platform::WindowKind.
constexpr std::array<const char*, 6> classNames = {
    "FrameWindowClass",          "QuillmoreDocWindowClass",   "QuillmoreFullScreenWindowClass",
    "QuillmorePanelWindowClass", "QuillmorePopupWindowClass", "QuillmoreModalWindowClass"};

std::string classNameOf(platform::WindowKind kind)
{
  const UApplication* application = UApplication::instance();
  const bool isFrame = kind == platform::WindowKind::frame;
  const std::string prefix = isFrame && application ? application->title().text() : "";
  return prefix + classNames[static_cast<size_t>(kind)];
}

} // namespace

UWindow::UWindow(const Rect& place, std::string_view title, uint32_t style)
    : CmClass(Rect{0, 0, place.width(), place.height()}, title, style), place_(place),
      normalPlace_(place)
{
}

UWindow::~UWindow()
{
  if (FMessenger* messenger = FMessenger::instance())
    messenger->remove(static_cast<CmObject*>(this));
  if (FDependencies* dependencies = FDependencies::instance()) {
    dependencies->changed(static_cast<CmObject*>(this), goneNotice);
    dependencies->removeDependent(this, nullptr);
  }
  stopTimers();
}

// Opening

bool UWindow::open(UWindow* owner, Stored stored)
{
  if (isOpen()) {
    bringToFront();
    return true;
  }
  UDesktop* desktop = UDesktop::instance();
  if (!desktop)
    return false;
  // Whatever a modal dialog brings up lies above it, or nobody could use it.
  owner_ = owner && owner->isOpen() ? owner : desktop->modalWindow();
  if (stored == Stored::apply)
    loadStoredState();
  auto proc = std::make_unique<UWindowProc>(*this);
  if (!proc->open(*desktop, options())) {
    owner_ = nullptr;
    return false;
  }
  proc_ = std::move(proc);
  desktop->opened(*this);
  showAsWanted();
  return isOpen();
}

/// What the options of a window don't say.
void UWindow::showAsWanted()
{
  if (hasStyle(styleSizeGrip) && !sizeGrip_)
    sizeGrip_ = &add(make<USizeGrip>(size()));
  layoutBars();
  applyLimits();
  if (opacity_ < 1.0)
    system()->setOpacity(opacity_);
  if (!focusView_)
    resetFocus();
  const uint32_t wanted = state_ & (stateMaximized | stateMinimized);
  state_ = 0;
  restartTimer();
  const UApplication* application = UApplication::instance();
  const bool isMain =
      UDesktop::instance()->frame() == this || kind() == platform::WindowKind::document;
  if (application && application->icon() && isMain)
    system()->setIcon(*application->icon());
  made();
  if (!isOpen()) // who made something of it closed it
    return;
  system()->show();
  if (wanted & stateMaximized)
    maximize();
  if (wanted & stateMinimized)
    minimize();
}

platform::WindowOptions UWindow::options() const
{
  const UDesktop& desktop = *UDesktop::instance();
  platform::WindowOptions options;
  const bool isDocument = isA(UDocWindow::className); // keeps its class, also as the only window
  options.kind = desktop.frame() == this ? platform::WindowKind::frame : kind();
  options.className = classNameOf(isDocument ? kind() : options.kind);
  options.title = title().text();
  options.client = desktop.toPixels(place_);
  options.placed = place_.origin() != Point{};
  options.owner = owner_ ? owner_->system() : nullptr;
  options.sizable = hasStyle(styleSizable) || hasStyle(styleSizeGrip);
  options.minimizable = hasStyle(styleMinimize);
  options.maximizable = hasStyle(styleMaximize);
  options.framed = !hasStyle(styleNoFrame);
  options.transparent = hasStyle(styleTransparent);
  options.offscreen = !hasStyle(styleNoOffscreen);
  return options;
}

platform::Window* UWindow::system() const
{
  return proc_ ? proc_->system() : nullptr;
}

// Closing

bool UWindow::canClose()
{
  const UApplication* application = UApplication::instance();
  if (application && !application->canCloseWindows())
    return false;
  FMessage request("MsgCloseRequest");
  request.setObject("Window", this);
  request.setInt("state", 1); // whoever refuses sets it to 0
  tellControllers(request);
  return request.getInt("state") != 0;
}

void UWindow::close()
{
  if (FMessenger* messenger = FMessenger::instance(); messenger && isOpen())
    messenger->post(static_cast<CmObject*>(this), new FMessage(closeMessage), true);
}

void UWindow::closeNow()
{
  if (!isOpen() || closing_)
    return;
  closing_ = true;
  const Ref<UWindow> kept = Ref<UWindow>::share(this);
  UDesktop& desktop = *UDesktop::instance();
  changed(beforeCloseNotice);
  saveState();
  closeOwned();
  cancelMouse();
  onMouseLeave();
  onDeactivate();
  stopTimers();
  if (UApplication* application = UApplication::instance())
    application->removeIdle(this);
  if (FMessenger* messenger = FMessenger::instance()) {
    const FMessage closing(closeMessage);
    messenger->remove(static_cast<CmObject*>(this), &closing);
  }
  desktop.closed(*this);
  desktop.retire(std::move(proc_));
  owner_ = nullptr;
  closing_ = false;
  closed();
  changed(goneNotice);
}

void UWindow::closeOwned()
{
  const std::vector<Ref<UWindow>> before = UDesktop::instance()->windows();
  for (const Ref<UWindow>& window : before)
    if (window->owner_ == this)
      window->closeNow();
}

// Place

void UWindow::setRect(const Rect& place)
{
  if (place == place_)
    return;
  const Size former = place_.size();
  place_ = place;
  if (!(state_ & (stateMaximized | stateMinimized)))
    normalPlace_ = place;
  if (isOpen())
    system()->setClient(UDesktop::instance()->toPixels(place));
  if (former != place.size())
    applySize(former);
}

/// The size changed, by whoever: views follow, controllers hear of it.
void UWindow::applySize(Size from)
{
  const UPoint oldSize(from);
  if (!sizingTimer_ && isOpen())
    tellControllers("MsgWindowSizeStart", 0, &oldSize);
  UView::setRect(Rect::at({}, place_.size()));
  layoutBars();
  invalidate();
  if (!isOpen())
    return;
  tellControllers("MsgWindowSized", 0, &oldSize);
  constexpr int64_t rest = 250; // after which the sizing is taken to be over
  if (sizingTimer_)
    platform::RunLoop::instance()->removeTimer(sizingTimer_);
  sizingTimer_ = startTimer(rest, &UWindow::endSizing);
}

void UWindow::endSizing()
{
  platform::RunLoop::instance()->removeTimer(sizingTimer_);
  sizingTimer_ = 0;
  tellControllers("MsgWindowSizeEnd");
}

void UWindow::scaleChanged()
{
  applyLimits();
  const UDesktop& desktop = *UDesktop::instance();
  if (!isMaximized()) {
    setRect(movedInto(place_, desktop.workArea(place_)));
    system()->setClient(desktop.toPixels(place_));
  }
  invalidate();
}

void UWindow::setStyle(uint32_t style)
{
  UBaseView::setStyle(style);
  applyLimits();
}

void UWindow::setLimits(Size smallest, Size largest)
{
  UBaseView::setLimits(smallest, largest);
  applyLimits();
}

/// A window that can't be maximized is no larger than the desktop unless its form says so.
void UWindow::applyLimits()
{
  if (!isOpen())
    return;
  const UDesktop& desktop = *UDesktop::instance();
  Size most = largest();
  if (!hasStyle(styleMaximize)) {
    const Size all = desktop.workArea(place_).size();
    most = {most.width ? most.width : all.width, most.height ? most.height : all.height};
  }
  system()->setLimits(desktop.toPixels(Rect::at({}, smallest())).size(),
                      desktop.toPixels(Rect::at({}, most)).size());
}

void UWindow::centerIn(const UWindow* window)
{
  const UDesktop* desktop = UDesktop::instance();
  if (!desktop)
    return;
  const Rect screen =
      window ? desktop->workArea(window->place()) : desktop->workArea(desktop->pointer());
  const Rect area = window ? window->place() : screen;
  const Rect wanted = Rect::at({area.left + (area.width() - place_.width()) / 2,
                                area.top + (area.height() - place_.height()) / 2},
                               place_.size());
  setRect(movedInto(wanted, screen));
}

Rect UWindow::movedInto(const Rect& place, const Rect& area)
{
  const int32_t left = std::max(std::min(place.left, area.right - place.width()), area.left);
  const int32_t top = std::max(std::min(place.top, area.bottom - place.height()), area.top);
  return Rect::at({left, top}, place.size());
}

// State

void UWindow::requestState(State state)
{
  if (isOpen())
    system()->setState(state == stateMaximized ? platform::WindowState::maximized
                                               : platform::WindowState::minimized);
  else
    state_ |= state;
}

void UWindow::maximize()
{
  if (hasStyle(styleMaximize))
    requestState(stateMaximized);
}

void UWindow::minimize()
{
  if (hasStyle(styleMinimize))
    requestState(stateMinimized);
}

void UWindow::restore()
{
  if (isOpen())
    system()->setState(platform::WindowState::normal);
  else
    state_ &= ~uint32_t(stateMaximized | stateMinimized);
}

void UWindow::setTitle(std::string_view title)
{
  if (title == this->title().view())
    return;
  UBaseView::setTitle(title);
  if (isOpen())
    system()->setTitle(title);
  if (properties_)
    properties_->show();
  tellControllers("MsgWindowTitle");
}

void UWindow::setOpacity(double share)
{
  opacity_ = std::isfinite(share) ? std::clamp(share, 0.0, 1.0) : 1.0;
  if (isOpen())
    system()->setOpacity(opacity_);
  if (properties_)
    properties_->show();
}

bool UWindow::isActive() const
{
  const UDesktop* desktop = UDesktop::instance();
  return desktop && desktop->activeWindow() == this;
}

void UWindow::bringToFront()
{
  if (!isOpen())
    return;
  UDesktop::instance()->toFront(*this);
  system()->activate();
}

void UWindow::flash()
{
  if (isOpen())
    system()->flash();
}

UValue* UWindow::property(std::string_view name)
{
  if (!properties_)
    properties_ = std::make_unique<UWindowProperties>(*this);
  return properties_->find(name);
}

void UWindow::update(CmObject* subject, int32_t code)
{
  if (properties_)
    properties_->apply(subject);
  UBaseView::update(subject, code);
}

// Room for views

Rect UWindow::contentRect() const
{
  Rect rect = bounds();
  if (menuBar_)
    rect.top += menuBar_->rect().height();
  if (statusView_)
    rect.bottom -= statusView_->rect().height();
  return rect;
}

void UWindow::setMenuBar(Ref<UView> bar)
{
  const int32_t former = menuBar_ ? menuBar_->rect().height() : 0;
  if (menuBar_)
    remove(*menuBar_);
  const int32_t height = bar ? bar->preferredSize().height : 0;
  for (const Ref<UView>& child : children())
    if (child.get() != statusView_ && child.get() != sizeGrip_)
      child->setRect(child->rect().movedBy(0, height - former));
  menuBar_ = bar.get();
  if (bar)
    add(std::move(bar));
  growBy(height - former);
}

/// Adds room at the bottom. Views that follow the edges keep their sizes.
void UWindow::growBy(int32_t height)
{
  place_.bottom += height;
  normalPlace_.bottom += height;
  rect_.bottom += height;
  if (sizeGrip_)
    sizeGrip_->moveTo({sizeGrip_->rect().left, sizeGrip_->rect().top + height});
  if (isOpen())
    system()->setClient(UDesktop::instance()->toPixels(place_));
  layoutBars();
  invalidate();
}

void UWindow::setStatusView(Ref<UView> status)
{
  if (statusView_)
    remove(*statusView_);
  statusView_ = status.get();
  if (status)
    add(std::move(status));
  layoutBars();
}

void UWindow::layoutBars()
{
  const Rect all = bounds();
  if (menuBar_)
    menuBar_->setRect({0, 0, all.right, menuBar_->preferredSize().height});
  if (!statusView_)
    return;
  const int32_t height = UGraphics::lineHeight({});
  const int32_t right = sizeGrip_ ? sizeGrip_->rect().left : all.right;
  statusView_->setRect({0, all.bottom - height, right, all.bottom});
}

void UWindow::invalidateInParent(const Rect& rect)
{
  if (isOpen())
    system()->invalidate(UDesktop::instance()->toPixelsOutward(rect));
}

// Timers

platform::RunLoop::TimerId UWindow::startTimer(int64_t milliseconds, void (UWindow::*call)())
{
  platform::RunLoop* loop = platform::RunLoop::instance();
  return loop ? loop->addTimer(milliseconds,
                               [this, call] {
                                 const Ref<UWindow> kept = Ref<UWindow>::share(this);
                                 (this->*call)();
                               })
              : 0;
}

void UWindow::stopTimers()
{
  platform::RunLoop* loop = platform::RunLoop::instance();
  for (platform::RunLoop::TimerId* timer : {&timer_, &sizingTimer_}) {
    if (loop && *timer)
      loop->removeTimer(*timer);
    *timer = 0;
  }
}

void UWindow::addTimer(UView& view, int64_t milliseconds)
{
  const int64_t now = platform::steadyNanoseconds() / 1000000;
  removeTimer(view);
  timed_.push_back({&view, milliseconds, now + milliseconds});
  restartTimer();
}

void UWindow::removeTimer(UView& view)
{
  if (std::erase_if(timed_, [&](const TimedView& each) { return each.view == &view; }) != 0)
    restartTimer();
}

void UWindow::restartTimer()
{
  platform::RunLoop* loop = platform::RunLoop::instance();
  if (loop && timer_)
    loop->removeTimer(timer_);
  timer_ = 0;
  const auto shortest =
      std::ranges::min_element(timed_, {}, [](const TimedView& each) { return each.period; });
  if (shortest != timed_.end() && isOpen())
    timer_ = startTimer(shortest->period, &UWindow::tellTimer);
}

void UWindow::tellTimer()
{
  if (proc_)
    proc_->timer();
}

} // namespace orbi
