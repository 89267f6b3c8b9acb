#include "ui/views/windows.h"

#include "foundation/class_registry.h"
#include "ui/application.h"
#include "ui/views/desktop.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(UDocWindow);
CM_REGISTER(UPanel);
CM_REGISTER(UDialog);
CM_REGISTER(UModalDialog);
CM_REGISTER(UPopupWindow);
CM_REGISTER(UFullScreenWindow);

Point UPanel::locationOrigin() const
{
  const UDesktop* desktop = UDesktop::instance();
  const UWindow* frame = desktop ? desktop->frame() : nullptr;
  return frame && frame != this ? frame->place().origin() : Point{};
}

// Dialogs

bool UDialog::keyDown(const UKeyCode& key)
{
  const bool isReturn = key.key == keyReturn || key.key == keyEnter;
  UView* button = isReturn ? defaultButton() : key.key == keyEscape ? cancelButton() : nullptr;
  if (key.isOnly(0) && button && button->isEnabled()) {
    command(*button, commandClick);
    return true;
  }
  if (key.isOnly(0) && key.key == keyEscape) {
    onCloseRequest();
    return true;
  }
  return UWindow::keyDown(key);
}

bool UDialog::open(UWindow* owner, Stored stored)
{
  if (!isOpen()) {
    ended_ = false;
    result_ = cancelled;
  }
  return UWindow::open(owner, stored);
}

void UDialog::end(int32_t result)
{
  if (ended_ || !canEnd(result))
    return;
  result_ = result;
  ended_ = true;
  close();
}

void UDialog::closed()
{
  ended_ = true;
  UWindow::closed();
}

/// Keys are its own from the first moment, whenever the desktop gets round to activating it.
bool UModalDialog::isActive() const
{
  const UDesktop* desktop = UDesktop::instance();
  return UDialog::isActive() || (isRunning() && desktop && desktop->topWindow() == this);
}

void UModalDialog::closed()
{
  UDialog::closed();
  if (UDesktop* desktop = UDesktop::instance())
    desktop->giveKeysBack();
}

bool UModalDialog::open(UWindow* owner, Stored stored)
{
  UDesktop* desktop = UDesktop::instance();
  if (!desktop || isOpen())
    return UDialog::open(owner, stored);
  desktop->standBack();
  order_ = ++desktop->modals_;
  if (!UDialog::open(owner, stored))
    return false;
  // Keys come here at once, whenever the desktop gets round to activating it.
  if (UApplication* application = UApplication::instance())
    application->setActiveControl(focusView());
  return true;
}

int32_t UModalDialog::run(UWindow* owner)
{
  UApplication* application = UApplication::instance();
  UDesktop* desktop = UDesktop::instance();
  if (!application || !desktop || isOpen())
    return cancelled;
  const Ref<UWindow> kept = Ref<UWindow>::share(this);
  UWindow* above = owner ? owner : desktop->topWindow();
  centerIn(above);
  if (!open(above, Stored::apply))
    return cancelled;
  application->runModal([this] { return isRunning(); });
  closeNow();
  return result();
}

// Popups

bool UPopupWindow::open(UWindow* owner, Stored stored)
{
  UDesktop* desktop = UDesktop::instance();
  if (!takesInput() || !desktop || isOpen())
    return UWindow::open(owner, stored);
  desktop->cancelMouse();
  UApplication* application = UApplication::instance();
  UView* former = application ? application->activeControl() : nullptr;
  if (!UWindow::open(owner, stored))
    return false;
  formerControl_ = former;
  if (!system()->capture(platform::Window::Capture::pointerAndKeys)) {
    closeNow(); // somebody else has them: it could be neither used nor closed
    return false;
  }
  tellFocus(true);
  return true;
}

/// The popup or the control that was there before goes on.
void UPopupWindow::closed()
{
  UWindow::closed();
  UApplication* application = UApplication::instance();
  UDesktop* desktop = UDesktop::instance();
  if (!takesInput() || !application || !desktop)
    return;
  UPopupWindow* below = desktop->frontPopup();
  UWindow* active = desktop->activeWindow();
  application->setActiveControl(!below && active ? active->focusView() : formerControl_);
  formerControl_ = nullptr;
  if (below)
    below->system()->capture(platform::Window::Capture::pointerAndKeys);
}

void UPopupWindow::placeAt(Point screen, Size size)
{
  const Rect wanted = Rect::at(screen, size);
  const UDesktop* desktop = UDesktop::instance();
  setRect(desktop ? movedInto(wanted, desktop->workArea(screen)) : wanted);
}

void UPopupWindow::onCaptureLost()
{
  UWindow::onCaptureLost();
  const UDesktop* desktop = UDesktop::instance();
  if (desktop && desktop->frontPopup() == this) // another popup of ours may have taken it
    pressedOutside();
}

void UPopupWindow::onMouseUp(const UMouseEvent& event)
{
  const Ref<UView> view = Ref<UView>::share(viewAt(event.where, Reach::enabled));
  if (mouseView())
    UWindow::onMouseUp(event);
  else if (view)
    view->mouseUp(event.movedTo(view->fromWindow(event.where)));
}

bool UPopupWindow::keyDown(const UKeyCode& key)
{
  if (key.key != keyEscape)
    return UWindow::keyDown(key);
  closeNow();
  return true;
}

bool UFullScreenWindow::open(UWindow* owner, Stored stored)
{
  if (const UDesktop* desktop = UDesktop::instance())
    setRect(desktop->screenBounds(owner ? owner->place().middle() : desktop->pointer()));
  return UWindow::open(owner, stored);
}

} // namespace orbi
