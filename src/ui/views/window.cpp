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
  options.titled = hasStyle(styleTitle);
  options.hasMenu = hasStyle(styleMenu);
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
  const int64_t period = std::max<int64_t>(milliseconds, 1);
  timed_.push_back({&view, period, now + period});
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
