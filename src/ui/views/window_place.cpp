// Where a window lies, how large it may be, and what room it has for views.
#include "ui/views/window.h"

#include "ui/views/desktop.h"
#include "ui/views/graphics.h"

#include <algorithm>

namespace orbi {

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

} // namespace orbi
