#include "ui/views/desktop.h"

#include "foundation/class_registry.h"
#include "ui/application.h"
#include "ui/views/graphics.h"
#include "ui/views/modal_session.h"
#include "ui/views/tool_tips.h"
#include "ui/views/window_proc.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace orbi {

CM_REGISTER_ABSTRACT(UDesktop);

namespace {

constexpr const char* sweepMessage = "SweepWindows";
constexpr int32_t clickRadius = 4; ///< that both presses of a double click lie within

int32_t distanceTo(const Rect& rect, Point point)
{
  const int32_t x = std::max({rect.left - point.x, 0, point.x - rect.right + 1});
  const int32_t y = std::max({rect.top - point.y, 0, point.y - rect.bottom + 1});
  return std::max(x, y);
}

int32_t nearest(double value)
{
  return static_cast<int32_t>(std::lround(value));
}
int32_t below(double value)
{
  return static_cast<int32_t>(std::floor(value));
}
int32_t above(double value)
{
  return static_cast<int32_t>(std::ceil(value));
}

} // namespace

UDesktop::UDesktop(platform::WindowSystem& system)
    : system_(system), scale_(system.scale()), toolTips_(std::make_unique<UToolTips>(*this))
{
  instance_ = this;
  UGraphics::setInstance(&system_.graphics());
  system_.setListener(this);
}

UDesktop::~UDesktop()
{
  closeAll();
  toolTips_.reset();
  if (FMessenger* messenger = FMessenger::instance())
    messenger->remove(static_cast<CmObject*>(this));
  retired_.clear();
  system_.setListener(nullptr);
  UGraphics::setInstance(nullptr);
  instance_ = nullptr;
}

// Units and pixels

Point UDesktop::toUnits(Point pixels) const
{
  return {below(pixels.x / scale_), below(pixels.y / scale_)};
}

Rect UDesktop::toUnits(const Rect& pixels) const
{
  return Rect::at({nearest(pixels.left / scale_), nearest(pixels.top / scale_)},
                  {nearest(pixels.width() / scale_), nearest(pixels.height() / scale_)});
}

Rect UDesktop::toUnitsOutward(const Rect& pixels) const
{
  return {below(pixels.left / scale_), below(pixels.top / scale_), above(pixels.right / scale_),
          above(pixels.bottom / scale_)};
}

Rect UDesktop::toPixels(const Rect& units) const
{
  return Rect::at({nearest(units.left * scale_), nearest(units.top * scale_)},
                  {nearest(units.width() * scale_), nearest(units.height() * scale_)});
}

Rect UDesktop::toPixelsOutward(const Rect& units) const
{
  return {below(units.left * scale_), below(units.top * scale_), above(units.right * scale_),
          above(units.bottom * scale_)};
}

platform::Screen UDesktop::screenAt(Point screen) const
{
  const std::vector<platform::Screen> screens = system_.screens();
  const auto nearestOne = std::min_element(
      screens.begin(), screens.end(), [&](const platform::Screen& a, const platform::Screen& b) {
        return distanceTo(toUnits(a.bounds), screen) < distanceTo(toUnits(b.bounds), screen);
      });
  return nearestOne != screens.end() ? *nearestOne : platform::Screen{};
}

Rect UDesktop::workArea(Point screen) const
{
  return toUnits(screenAt(screen).workArea);
}

Rect UDesktop::workArea(const Rect& place) const
{
  return workArea(place.middle());
}

Rect UDesktop::screenBounds(Point screen) const
{
  return toUnits(screenAt(screen).bounds);
}

Point UDesktop::pointer() const
{
  return toUnits(system_.pointer());
}

// Windows

template <class Condition>
UWindow* UDesktop::front(const Condition& condition) const
{
  for (const Ref<UWindow>& window : windows_)
    if (condition(*window))
      return window.get();
  return nullptr;
}

UWindow* UDesktop::topWindow() const
{
  return windows_.empty() ? nullptr : windows_.front().get();
}

UDocWindow* UDesktop::frontDocument() const
{
  return static_cast<UDocWindow*>(
      front([](UWindow& window) { return window.isA(UDocWindow::className); }));
}

UPanel* UDesktop::activePanel() const
{
  return castTo<UPanel>(activeWindow_);
}

UModalDialog* UDesktop::modalWindow() const
{
  return static_cast<UModalDialog*>(
      front([](UWindow& window) { return window.isA(UModalDialog::className); }));
}

UWindow* UDesktop::windowAt(Point screen) const
{
  return front(
      [=](UWindow& window) { return !window.isMinimized() && window.place().contains(screen); });
}

UWindow* UDesktop::windowOf(const platform::Window& system) const
{
  return front([&](UWindow& window) { return window.system() == &system; });
}

bool UDesktop::isBehindSession() const
{
  const UModalDialog* modal = modalWindow();
  return session_ && (!modal || modal->order_ < session_->order_);
}

bool UDesktop::isBlocked(const UWindow& window) const
{
  if (isBehindSession())
    return true;
  const UWindow* modal = modalWindow();
  if (!modal || window.kind() == platform::WindowKind::popup)
    return false;
  for (const UWindow* each = &window; each; each = each->owner())
    if (each == modal)
      return false;
  return true;
}

void UDesktop::flashAll()
{
  for (const Ref<UWindow>& window : windows_)
    window->flash();
}

void UDesktop::flashModal()
{
  UModalDialog* modal = modalWindow();
  if (!modal || isBehindSession())
    return;
  const UApplication* application = UApplication::instance();
  if (application && application->isSingleWindow())
    flashAll();
  else
    modal->flash();
  modal->bringToFront();
}

void UDesktop::standBack()
{
  cancelMouse();
  pressedOutsidePopups();
  toolTips_->hide();
}

/// Not every desktop sees to that.
void UDesktop::giveKeysBack()
{
  UWindow* next = topWindow();
  UApplication* application = UApplication::instance();
  if (!next || !application || application->isQuitting())
    return;
  if (isBehindSession()) {
    application->setActiveControl(nullptr);
    return;
  }
  application->setActiveControl(next->focusView());
  next->bringToFront();
  // What the desktop activated while it was blocked isn't told again.
  if (next->system()->isActive())
    next->onActivate();
}

void UDesktop::closeAll()
{
  const std::vector<Ref<UWindow>> before = windows_;
  for (const Ref<UWindow>& window : before)
    if (window.get() != frame_) // to which others keep their places
      window->closeNow();
  if (const Ref<UWindow> frame = Ref<UWindow>::share(frame_))
    frame->closeNow();
}

void UDesktop::cancelMouse()
{
  const std::vector<Ref<UWindow>> before = windows_;
  for (const Ref<UWindow>& window : before)
    window->cancelMouse();
}

void UDesktop::opened(UWindow& window)
{
  if (window.takesInput()) {
    windows_.insert(windows_.begin(), Ref<UWindow>::share(&window));
    toolTips_->hide();
  }
  if (busy_)
    window.updateCursor();
  coverBlocked();
}

/// Plug-ins' children are native windows, which know nothing of what is modal.
void UDesktop::coverBlocked()
{
  for (const Ref<UWindow>& window : windows_)
    if (window->system())
      window->system()->coverChildren(isBlocked(*window));
}

/// With those that it owns still before it.
void UDesktop::toFront(UWindow& window)
{
  const auto isItsOwn = [&](const UWindow* each) {
    for (; each; each = each->owner())
      if (each == &window)
        return true;
    return false;
  };
  std::stable_partition(windows_.begin(), windows_.end(),
                        [&](const Ref<UWindow>& each) { return isItsOwn(each.get()); });
}

void UDesktop::closed(UWindow& window)
{
  if (activeWindow_ == &window)
    activeWindow_ = nullptr;
  if (mouse_.window == &window)
    mouse_.window = nullptr;
  toolTips_->forget(window);
  std::erase_if(windows_, [&](const Ref<UWindow>& each) { return each == &window; });
  coverBlocked();
  const bool isFrame = frame_ == &window;
  if (!isFrame)
    return;
  frame_ = nullptr;
  if (UApplication* application = UApplication::instance())
    application->setQuit();
}

void UDesktop::retire(std::unique_ptr<UWindowProc> proc)
{
  proc->detach();
  retired_.push_back(std::move(proc));
  sweepSoon();
}

void UDesktop::sweepSoon()
{
  if (FMessenger* messenger = FMessenger::instance())
    messenger->post(static_cast<CmObject*>(this), new FMessage(sweepMessage), true);
}

void UDesktop::sweep()
{
  std::erase_if(retired_, [](const auto& proc) { return proc->isIdle(); });
}

int32_t UDesktop::handleMessage(FMessage& message)
{
  if (!message.isMessage(sweepMessage))
    return CmObject::handleMessage(message);
  sweep();
  return 1;
}

void UDesktop::forget(UView& view)
{
  toolTips_->forget(view);
  for (const Ref<UWindow>& window : windows_)
    if (auto* popup = castTo<UPopupWindow>(window.get()))
      if (popup->formerControl_ && popup->formerControl_->isWithin(view))
        popup->formerControl_ = nullptr;
}

// Popups

UPopupWindow* UDesktop::frontPopup() const
{
  return static_cast<UPopupWindow*>(
      front([](UWindow& window) { return window.isA(UPopupWindow::className); }));
}

UPopupWindow* UDesktop::popupAt(Point screen) const
{
  return static_cast<UPopupWindow*>(front([=](UWindow& window) {
    return window.isA(UPopupWindow::className) && window.place().contains(screen);
  }));
}

bool UDesktop::isBehindPopup(const UWindow& window) const
{
  return window.kind() != platform::WindowKind::popup && frontPopup();
}

void UDesktop::pressedOutsidePopups()
{
  const std::vector<Ref<UWindow>> before = windows_;
  for (const Ref<UWindow>& window : before)
    if (auto* popup = castTo<UPopupWindow>(window.get()))
      if (popup->isOpen())
        popup->pressedOutside();
}

// Pointer

int32_t UDesktop::countClick(UWindow& window, const UMouseEvent& press)
{
  lastKey_ = {};
  const bool isNear = std::abs(press.screen.x - mouse_.pressedAt.x) <= clickRadius &&
                      std::abs(press.screen.y - mouse_.pressedAt.y) <= clickRadius;
  const bool isSecond = mouse_.window == &window && mouse_.button == press.button && isNear &&
                        mouse_.clickedAt != 0 &&
                        press.milliseconds - mouse_.clickedAt <= system_.doubleClickMilliseconds();
  mouse_ = {press.button, press.screen, isSecond ? 0 : press.milliseconds, &window};
  return isSecond ? 2 : 1;
}

void UDesktop::showBusy(bool busy)
{
  if (busy == busy_)
    return;
  busy_ = busy;
  for (const Ref<UWindow>& window : windows_)
    window->updateCursor();
  system_.flush();
}

// The window system

/// Some of it, so that the user can get hold of it.
bool UDesktop::isOnScreen(const Rect& place) const
{
  return std::ranges::any_of(system_.screens(), [&](const platform::Screen& screen) {
    return !toUnits(screen.workArea).intersectedWith(place).isEmpty();
  });
}

void UDesktop::screensChanged()
{
  const double former = std::exchange(scale_, system_.scale());
  const std::vector<Ref<UWindow>> before = windows_;
  for (const Ref<UWindow>& window : before)
    if (scale_ != former || !isOnScreen(window->place()))
      window->scaleChanged();
}

void UDesktop::displayLost()
{
  if (UApplication* application = UApplication::instance())
    application->setQuit();
}

} // namespace orbi
