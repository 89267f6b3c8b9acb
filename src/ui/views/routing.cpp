#include "ui/application.h"
#include "ui/views/desktop.h"
#include "ui/views/modal_session.h"
#include "ui/views/tool_tips.h"

#include <algorithm>
#include <array>
#include <cstdlib>

// The ways of keys and wheel turns.

namespace orbi {

namespace {

/// Native windows of plug-ins that keep their keys.
constexpr std::array<std::string_view, 3> typingClasses = {"Edit", "Button", "Combobox"};
constexpr int32_t wheelNotch = 120;

/// A copy, as a handler may take itself off.
bool offer(UApplication::KeyHandler handler, const UKeyCode& key)
{
  return handler && handler(key);
}

bool offer(UView* view, const UKeyCode& key)
{
  const Ref<UView> kept = Ref<UView>::share(view);
  return view && view->keyDown(key);
}

bool isModifier(const UKeyCode& key)
{
  return key.character == 0 && key.key >= keyShift && key.key <= keyAlt;
}

bool isFiltered(UWindowMessageKind kind, UWindow* window)
{
  const UApplication* application = UApplication::instance();
  return application && application->preFilter() && application->preFilter()({kind, window});
}

} // namespace

// Keys

bool UDesktop::keyPressed(platform::Window& window, const platform::KeyEvent& event)
{
  toolTips_->hide();
  lastKey_ = {};
  if (isBehindSession()) {
    if (event.key == platform::Key::escape && !event.repeats)
      session_->cancel();
    return true;
  }
  if (isFiltered(UWindowMessageKind::keyDown, windowOf(window)))
    return true;
  if (!frontPopup() && std::ranges::count(typingClasses, system_.focusedChildClass()) != 0)
    return false;
  // A key that was held down before a question appeared doesn't answer it.
  const bool answers = event.key == platform::Key::enter || event.key == platform::Key::padEnter ||
                       event.key == platform::Key::escape;
  if (event.repeats && answers && modalWindow())
    return true;
  bool isTaken = false;
  for (const UKeyCode& key : keyCodesOf(event)) {
    if (!event.repeats && (key.modifiers & ~uint32_t(platform::altKey)) == 0)
      lastKey_ = key;
    isTaken = routeKey(key) || isTaken;
  }
  return isTaken;
}

void UDesktop::keyReleased(platform::Window& window, const platform::KeyEvent& event)
{
  if (isBehindSession() || isFiltered(UWindowMessageKind::keyUp, windowOf(window)) ||
      std::ranges::count(typingClasses, system_.focusedChildClass()) != 0)
    return;
  if (event.isTaken)
    lastKey_ = {}; // whoever took the keys saw how the stroke went on
  for (const UKeyCode& key : keyCodesOf(event))
    routeKeyUp(key);
}

bool UDesktop::routeKey(const UKeyCode& key)
{
  UApplication* application = UApplication::instance();
  if (!application)
    return false;
  if (offer(application->keyFilter(), key) || (isModifier(key) && routeToPointer(key)) ||
      offer(application->activeControl(), key) || routeFocusKey(key) || offer(topWindow(), key))
    return true;
  if (modalWindow())
    return false;
  if (!application->prefersKeyCommands() && routeToDocument(key))
    return true;
  return offer(application->keyCommands(), key);
}

bool UDesktop::routeToPointer(const UKeyCode& key)
{
  UWindow* window = topWindow();
  auto view = Ref<UView>::share(window ? window->viewAt(window->fromScreen(pointer())) : nullptr);
  while (view && view.get() != window && !view->keyDown(key)) // the window's turn is later
    view = Ref<UView>::share(view->parent());
  return view && view.get() != window;
}

bool UDesktop::routeFocusKey(const UKeyCode& key)
{
  const bool isTab = key.key == keyTab && (key.modifiers & ~platform::shiftKey) == 0;
  const UView* active = UApplication::instance()->activeControl();
  UWindow* window = active ? const_cast<UView*>(active)->window() : topWindow();
  return isTab && window && window->focusNext(key.has(platform::shiftKey));
}

/// Whoever was asked as the top window isn't asked again.
bool UDesktop::routeToDocument(const UKeyCode& key)
{
  const UWindow* top = topWindow();
  const Ref<UWindow> document = Ref<UWindow>::share(frontDocument());
  if (document &&
      ((document.get() != top && offer(document.get(), key)) || offer(document->menuBar(), key)))
    return true;
  UPanel* panel = activePanel();
  return panel && panel != top && offer(panel, key);
}

bool UDesktop::routeKeyUp(const UKeyCode& key)
{
  UApplication* application = UApplication::instance();
  const Ref<UView> active = Ref<UView>::share(application ? application->activeControl() : nullptr);
  if (active && active->keyUp(key))
    return true;
  const Ref<UWindow> top = Ref<UWindow>::share(topWindow());
  return top && top->keyUp(key);
}

// Wheel

bool UDesktop::turnWheel(int32_t axis, int32_t distance, Point screen)
{
  int32_t& rest = wheelRest_[axis];
  if ((rest < 0) != (distance < 0))
    rest = 0; // turning back counts at once
  rest += std::clamp(distance, -wheelNotch * 100, wheelNotch * 100);
  lastKey_ = {};
  const int32_t notches = rest / wheelNotch;
  rest %= wheelNotch;
  return notches != 0 && !isBehindSession() && routeWheel(axis, notches, screen);
}

bool UDesktop::routeWheel(int32_t axis, int32_t notches, Point screen)
{
  FMessage message("Wheel");
  message.setInt("Axis", axis);
  message.setInt("Distance", notches);
  UApplication* application = UApplication::instance();
  const Ref<UView> active = Ref<UView>::share(application ? application->activeControl() : nullptr);
  if (active && active->handleMessage(message) != 0)
    return true;
  const Ref<UWindow> window = Ref<UWindow>::share(windowAt(screen));
  if (!window || isBlocked(*window))
    return false;
  return window->onWheel(message, window->fromScreen(screen));
}

} // namespace orbi
