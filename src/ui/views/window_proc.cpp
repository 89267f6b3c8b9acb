#include "ui/views/window_proc.h"

#include "ui/application.h"
#include "ui/views/modal_session.h"
#include "ui/views/tool_tips.h"

#include <utility>

namespace orbi {

/// An event under way. Keeps the window and asks the application's filter first; false when there
/// is nothing left to do.
class UWindowProc::Entry {
public:
  Entry(UWindowProc& proc, UWindowMessageKind kind)
      : proc_(proc), window_(Ref<UWindow>::share(proc.window_))
  {
    ++proc_.depth_;
    const UApplication* application = UApplication::instance();
    const bool isFiltered = window_ && application && application->preFilter() &&
                            application->preFilter()({kind, window_.get()});
    goesOn_ = !isFiltered && proc_.window_; // the filter may have closed it
  }
  ~Entry()
  {
    if (--proc_.depth_ == 0 && !proc_.window_ && proc_.desktop_)
      proc_.desktop_->sweepSoon();
  }
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  explicit operator bool() const { return goesOn_; }
  UWindow* operator->() const { return window_.get(); }
  UWindow& operator*() const { return *window_; }

private:
  UWindowProc& proc_;
  Ref<UWindow> window_;
  bool goesOn_ = false;
};

bool UWindowProc::open(UDesktop& desktop, const platform::WindowOptions& options)
{
  desktop_ = &desktop;
  system_ = desktop.system().makeWindow(options, *this);
  return system_ != nullptr;
}

void UWindowProc::detach()
{
  window_ = nullptr;
  if (system_)
    system_->hide();
}

void UWindowProc::timer()
{
  if (Entry window{*this, UWindowMessageKind::timer})
    window->onTimer();
}

// Life and place

void UWindowProc::windowDestroyed()
{
  if (Entry window{*this, UWindowMessageKind::destroy})
    window->onDestroyed();
}

void UWindowProc::windowMoved(Point client)
{
  Entry window{*this, UWindowMessageKind::move};
  if (!window)
    return;
  window->onMoved(desktop_->toUnits(client));
  window->onPositionChanged();
}

void UWindowProc::windowResized(Size client)
{
  if (Entry window{*this, UWindowMessageKind::size})
    window->onResize(desktop_->toUnits(Rect::at({}, client)));
}

void UWindowProc::windowStateChanged(platform::WindowState state)
{
  if (Entry window{*this, UWindowMessageKind::state})
    window->onState(state);
}

void UWindowProc::windowActivated()
{
  Entry window{*this, UWindowMessageKind::activate};
  if (!window)
    return;
  // Whatever windows the program has: the keys follow the window that is active, and one that is
  // blocked must not get any.
  if (desktop_->isBlocked(*window))
    desktop_->flashModal();
  else
    window->onActivate();
}

void UWindowProc::windowDeactivated()
{
  if (Entry window{*this, UWindowMessageKind::deactivate})
    window->onDeactivate();
}

void UWindowProc::windowCloseRequested()
{
  Entry window{*this, UWindowMessageKind::close};
  if (!window)
    return;
  if (desktop_->isBehindSession())
    desktop_->session_->cancel();
  else if (desktop_->isBlocked(*window))
    desktop_->flashModal();
  else
    window->onCloseRequest();
}

void UWindowProc::windowPaint(Canvas& canvas, const std::vector<Rect>& region)
{
  Entry window{*this, UWindowMessageKind::paint};
  if (!window || region.empty())
    return;
  std::vector<Rect> damage;
  damage.reserve(region.size());
  for (const Rect& rect : region)
    damage.push_back(desktop_->toUnitsOutward(rect));
  canvas.save();
  canvas.scale(desktop_->scale());
  window->onPaint(canvas, damage);
  canvas.restore();
}

// Pointer

UMouseEvent UWindowProc::toUnits(const platform::PointerEvent& event) const
{
  UMouseEvent result;
  result.where = desktop_->toUnits(event.position);
  result.screen = desktop_->toUnits(event.screen);
  result.button = event.button;
  result.buttons = event.buttons;
  result.modifiers = event.modifiers;
  result.milliseconds = event.milliseconds;
  return result;
}

UMouseEvent UWindowProc::inWindow(const UMouseEvent& event, const UWindow& window) const
{
  return &window == window_ ? event : event.movedTo(window.fromScreen(event.screen));
}

/// The popup in front holds the pointer for all that are open; null for a place outside of them.
UWindow* UWindowProc::receiver(const UMouseEvent& event) const
{
  if (window_->kind() != platform::WindowKind::popup || window_->mouseView() ||
      window_->bounds().contains(event.where))
    return window_;
  return desktop_->popupAt(event.screen);
}

void UWindowProc::pointerMoved(const platform::PointerEvent& raw)
{
  Entry window{*this, UWindowMessageKind::mouseMove};
  if (!window)
    return;
  const UMouseEvent event = toUnits(raw);
  const Ref<UWindow> target = Ref<UWindow>::share(receiver(event));
  if (target.get() != &*window)
    window->onMouseLeave();
  if (desktop_->isBlocked(*window)) {
    window->onMouseLeave();
    window->updateCursor();
    return;
  }
  if (!target) {
    if (auto* popup = castTo<UPopupWindow>(&*window))
      popup->pointerOutside(event);
    return;
  }
  target->onMouseMove(inWindow(event, *target));
  desktop_->toolTips().pointerMoved(*target);
}

void UWindowProc::pointerLeft()
{
  Entry window{*this, UWindowMessageKind::mouseLeave};
  desktop_->toolTips().hide();
  if (window)
    window->onMouseLeave();
}

void UWindowProc::buttonPressed(const platform::PointerEvent& raw)
{
  Entry window{*this, UWindowMessageKind::buttonDown};
  if (!window)
    return;
  if (raw.modifiers & (platform::superKey | platform::altKey)) {
    desktop_->forgetLastKey(); // Alt isn't by itself any more
    return;                    // the desktop's own, as for moving windows
  }
  desktop_->toolTips().hide();
  if (desktop_->isBlocked(*window)) {
    desktop_->flashModal();
    return;
  }
  UMouseEvent event = toUnits(raw);
  const Ref<UWindow> target = Ref<UWindow>::share(receiver(event));
  if (!target || desktop_->isBehindPopup(*target)) {
    desktop_->pressedOutsidePopups();
    return;
  }
  event.clicks = desktop_->countClick(*target, event);
  event = inWindow(event, *target);
  target->onClick(event.where);
  if (event.button == platform::rightButton)
    target->onRightMouseDown(event);
  else
    target->onMouseDown(event);
}

void UWindowProc::buttonReleased(const platform::PointerEvent& raw)
{
  Entry window{*this, UWindowMessageKind::buttonUp};
  desktop_->toolTips().hide();
  if (!window || desktop_->isBlocked(*window))
    return;
  const UMouseEvent event = toUnits(raw);
  if (const Ref<UWindow> target = Ref<UWindow>::share(receiver(event)))
    target->onMouseUp(inWindow(event, *target));
}

void UWindowProc::wheelTurned(const platform::WheelEvent& event)
{
  Entry window{*this, UWindowMessageKind::wheel};
  desktop_->toolTips().hide();
  if (!window)
    return;
  const Point screen = desktop_->toUnits(event.at.screen);
  desktop_->turnWheel(UDesktop::verticalAxis, event.distance, screen);
  desktop_->turnWheel(UDesktop::horizontalAxis, event.horizontal, screen);
}

void UWindowProc::captureLost()
{
  if (Entry window{*this, UWindowMessageKind::captureLost})
    window->onCaptureLost();
}

platform::DropTaker UWindowProc::filesDragged(const std::vector<std::filesystem::path>& files)
{
  if (!window_ || desktop_->isBlocked(*window_))
    return platform::DropTaker::nobody;
  return window_->takesFiles(files) ? platform::DropTaker::window : platform::DropTaker::child;
}

bool UWindowProc::filesDropped(const std::vector<std::filesystem::path>& files, Point at)
{
  Entry window{*this, UWindowMessageKind::filesDropped};
  return window && !desktop_->isBlocked(*window) &&
         window->filesDropped(files, desktop_->toUnits(at));
}

} // namespace orbi
