#include "ui/menus/menu_window.h"

#include "foundation/class_registry.h"
#include "ui/menus/menu_view.h"
#include "ui/views/desktop.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace orbi {

CM_REGISTER_ABSTRACT(UMenuWindow); // shows a menu

UMenuWindow::UMenuWindow(Ref<UMenu> menu, UMenuWindow* parent, UMenuOpener* opener)
    : menu_(std::move(menu)), parent_(parent), opener_(opener)
{
  view_ = &add(make<UMenuView>(*this));
  if (const UDesktop* desktop = UDesktop::instance())
    pressedAt_ = desktop->pointer();
}

// Opening

UMenuWindow* UMenuWindow::show(Ref<UMenu> menu, UWindow* owner, const Rect& anchor, bool beside,
                               UMenuOpener* opener)
{
  const UDesktop* desktop = UDesktop::instance();
  if (!desktop || !menu || menu->items().empty())
    return nullptr;
  menu->prepare();
  auto window = make<UMenuWindow>(std::move(menu), castTo<UMenuWindow>(owner), opener);
  const Rect area = desktop->workArea(anchor.origin());
  Size size = window->view_->preferredSize();
  size.height = std::min(size.height, area.height());
  Point origin = beside ? Point{anchor.right, anchor.top} : Point{anchor.left, anchor.bottom};
  if (beside && origin.x + size.width > area.right && anchor.left - size.width >= area.left)
    origin.x = anchor.left - size.width;
  if (!beside && origin.y + size.height > area.bottom && anchor.top - size.height >= area.top)
    origin.y = anchor.top - size.height;
  return openAt(window, owner, movedInto(Rect::at(origin, size), area));
}

UMenuWindow* UMenuWindow::showAt(Ref<UMenu> menu, UWindow* owner, Point screen,
                                 const UMenuItem* under)
{
  const UDesktop* desktop = UDesktop::instance();
  if (!desktop || !menu || menu->items().empty())
    return nullptr;
  menu->prepare();
  const auto items = menu->items();
  const auto place = std::ranges::find_if(
      items, [under](const auto& item) { return under && item.get() == under; });
  const auto index = static_cast<size_t>(place - items.begin());
  auto window = make<UMenuWindow>(std::move(menu), castTo<UMenuWindow>(owner), nullptr);
  Size size = window->view_->preferredSize();
  const Rect area = desktop->workArea(screen);
  size.height = std::min(size.height, area.height());
  if (under && index < items.size())
    screen.y -= window->view_->topOf(index);
  UMenuWindow* opened = openAt(window, owner, movedInto(Rect::at(screen, size), area));
  if (opened && under && index < items.size() && under->canBeChosen())
    opened->view_->setCurrent(index);
  return opened;
}

/// Null when the display refuses. The desktop keeps the window while it is open.
UMenuWindow* UMenuWindow::openAt(const Ref<UMenuWindow>& window, UWindow* owner, const Rect& place)
{
  window->setRect(place);
  window->view_->setRect(window->bounds());
  return window->UPopupWindow::open(owner, Stored::ignore) ? window.get() : nullptr;
}

void UMenuWindow::openSubMenu(size_t index, bool selectsFirst)
{
  const auto& item = *menu_->items()[index];
  if (subWindow_ && &subWindow_->menu() == item.subMenu())
    return;
  closeSubMenu();
  if (!item.subMenu() || !item.isEnabled())
    return;
  const Rect row = view_->rowRect(index);
  const Point corner = toScreen({row.left, row.top});
  subWindow_ = show(Ref<UMenu>::share(item.subMenu()), this,
                    Rect::at({corner.x, corner.y - 4}, {row.width() - 2, row.height()}), true);
  if (subWindow_ && selectsFirst)
    subWindow_->view_->step(1);
}

// Closing

void UMenuWindow::closeSubMenu()
{
  if (UMenuWindow* sub = std::exchange(subWindow_, nullptr)) {
    sub->closeSubMenu();
    sub->closeNow();
  }
}

UMenuWindow& UMenuWindow::root()
{
  UMenuWindow* window = this;
  while (window->parent_)
    window = window->parent_;
  return *window;
}

void UMenuWindow::closeAll()
{
  const Ref<UMenuWindow> top = Ref<UMenuWindow>::share(&root());
  top->closeSubMenu();
  top->closeNow();
}

void UMenuWindow::closed()
{
  if (parent_ && parent_->subWindow_ == this)
    parent_->subWindow_ = nullptr;
  parent_ = nullptr;
  UPopupWindow::closed();
  if (UMenuOpener* opener = std::exchange(opener_, nullptr))
    opener->menuClosed();
}

void UMenuWindow::choose(size_t index)
{
  const Ref<UMenu> menu = menu_;
  const Ref<UMenuItem> item = menu->items()[index];
  if (item->subMenu()) {
    openSubMenu(index, true);
    return;
  }
  const Ref<UMenuWindow> kept = Ref<UMenuWindow>::share(this);
  closeAll();
  menu->choose(*item);
}

// Keys

/// To the menu at the side, of which the bar knows.
void UMenuWindow::moveOn(int32_t step)
{
  if (UMenuOpener* opener = root().opener_)
    opener->openNeighbour(step);
}

void UMenuWindow::activateCurrent()
{
  if (view_->current())
    choose(*view_->current());
}

/// Into the current entry's menu, or to the one at the side.
void UMenuWindow::goRight()
{
  const auto current = view_->current();
  if (current && menu_->items()[*current]->subMenu())
    openSubMenu(*current, true);
  else
    moveOn(1);
}

void UMenuWindow::goLeft()
{
  if (parent_)
    parent_->closeSubMenu();
  else
    moveOn(-1);
}

void UMenuWindow::goBack()
{
  if (parent_)
    parent_->closeSubMenu();
  else
    closeNow();
}

struct UMenuWindow::KeyRow {
  uint8_t key;
  void (*run)(UMenuWindow& own);
};

const UMenuWindow::KeyRow UMenuWindow::keyRows[] = {
    {keyArrowUp, [](UMenuWindow& own) { own.view_->step(-1); }},
    {keyArrowDown, [](UMenuWindow& own) { own.view_->step(1); }},
    {keyHome, [](UMenuWindow& own) { own.view_->stepToEdge(-1); }},
    {keyEnd, [](UMenuWindow& own) { own.view_->stepToEdge(1); }},
    {keyArrowRight, [](UMenuWindow& own) { own.goRight(); }},
    {keyArrowLeft, [](UMenuWindow& own) { own.goLeft(); }},
    {keyReturn, [](UMenuWindow& own) { own.activateCurrent(); }},
    {keyEnter, [](UMenuWindow& own) { own.activateCurrent(); }},
    {keySpace, [](UMenuWindow& own) { own.activateCurrent(); }},
    {keyEscape, [](UMenuWindow& own) { own.goBack(); }},
    {keyAlt, [](UMenuWindow& own) { own.closeAll(); }}, // as they opened the menu bar
    {keyF10, [](UMenuWindow& own) { own.closeAll(); }},
};

/// Takes every key: nothing else of the program hears any now.
bool UMenuWindow::keyDown(const UKeyCode& key)
{
  const Ref<UMenuWindow> kept = Ref<UMenuWindow>::share(this);
  const auto row = std::ranges::find(keyRows, key.key, &KeyRow::key);
  if (row != std::end(keyRows))
    row->run(*this);
  // One entry of that letter is chosen at once, of several the next becomes current.
  else if (key.character != 0 && !key.has(platform::controlKey) &&
           view_->stepToLetter(key.character) == 1)
    activateCurrent();
  return true;
}

// Pointer

void UMenuWindow::onMouseMove(const UMouseEvent& event)
{
  notePointer(event.screen);
  UPopupWindow::onMouseMove(event);
  const auto before = view_->current();
  view_->point(event.where);
  const auto current = view_->current();
  if (current && current != before)
    openSubMenu(*current, false); // or closes another one's
}

/// An open sub-menu keeps its entry current.
void UMenuWindow::onMouseLeave()
{
  UPopupWindow::onMouseLeave();
  if (!subWindow_)
    view_->point({-1, -1});
}

/// A press in the menu is meant for it.
void UMenuWindow::onMouseDown(const UMouseEvent& event)
{
  root().hasMoved_ = true;
  UPopupWindow::onMouseDown(event);
}

void UMenuWindow::onMouseUp(const UMouseEvent& event)
{
  UPopupWindow::onMouseUp(event);
  if (!root().hasMoved_)
    return; // the release of the press that opened it
  if (const auto row = view_->rowAt(event.where))
    choose(*row);
}

void UMenuWindow::pointerOutside(const UMouseEvent& event)
{
  notePointer(event.screen);
  if (UMenuOpener* opener = root().opener_)
    opener->pointerMovedTo(event.screen);
}

void UMenuWindow::notePointer(Point screen)
{
  constexpr int32_t jitter = 4;
  UMenuWindow& top = root();
  const Point from = top.pressedAt_;
  if (std::abs(screen.x - from.x) + std::abs(screen.y - from.y) > jitter)
    top.hasMoved_ = true;
}

} // namespace orbi
