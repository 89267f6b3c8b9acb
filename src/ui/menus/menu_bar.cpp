#include "ui/menus/menu_bar.h"

#include "foundation/class_registry.h"
#include "ui/application.h"
#include "ui/views/basic/theme.h"
#include "ui/views/desktop.h"
#include "ui/views/graphics.h"
#include "ui/views/text_place.h"

#include <utility>

namespace orbi {

CM_REGISTER(UMenuBar);

namespace {

constexpr int32_t padding = 10; // on each side of a title

/// That a stroke types, or would without Alt.
char32_t letterOf(const UKeyCode& key)
{
  if (key.character == 0 && key.key >= keyLetterA && key.key < keyLetterA + 26)
    return U'a' + char32_t(key.key - keyLetterA);
  return key.character;
}

} // namespace

UMenuBar::UMenuBar() : CmClass(Rect{0, 0, 0, barHeight})
{
  setAttach(attachLeft | attachTop | attachRight);
}

UMenuBar::~UMenuBar()
{
  closeMenu();
  stop();
}

UMenu& UMenuBar::add(Ref<UMenu> menu)
{
  menus_.push_back(std::move(menu));
  invalidate();
  return *menus_.back();
}

UMenu* UMenuBar::findMenu(std::string_view name) const
{
  for (const Ref<UMenu>& menu : menus_)
    if (menu->name() == name)
      return menu.get();
  return nullptr;
}

// Titles

Rect UMenuBar::titleRect(size_t index) const
{
  const platform::Font& font = UTheme::instance().font;
  Rect rect{0, 0, 0, bounds().bottom};
  for (size_t i = 0; i <= index && i < menus_.size(); ++i) {
    rect.left = rect.right;
    rect.right += 2 * padding + UGraphics::measure(menus_[i]->title().view(), font).width;
  }
  return rect;
}

std::optional<size_t> UMenuBar::titleAt(Point where) const
{
  for (size_t i = 0; i < menus_.size(); ++i)
    if (titleRect(i).contains(where))
      return i;
  return {};
}

/// The title that begins with it, or else the internal name: a keyboard may lack the letters of
/// the language.
std::optional<size_t> UMenuBar::titleBy(char32_t letter) const
{
  if (letter == 0)
    return {};
  for (const auto text : {&UMenu::title, &UMenu::name})
    for (size_t i = 0; i < menus_.size(); ++i)
      if (isSameLetter(characterAt((*menus_[i].*text)().view(), 0), letter))
        return i;
  return {};
}

void UMenuBar::draw(Canvas& canvas, const Rect&)
{
  const UTheme& theme = UTheme::instance();
  canvas.fill(bounds(), theme.window);
  for (size_t i = 0; i < menus_.size(); ++i) {
    const Rect rect = titleRect(i);
    const bool isCurrent = current_ == i;
    if (isCurrent || hover_ == i)
      canvas.fillRounded(rect.grownBy(-2, -2), theme.radius,
                         isCurrent ? theme.accent : theme.buttonHover);
    platform::TextStyle style = theme.textStyle(isCurrent ? theme.selectedText : theme.text);
    style.justify = platform::Justify::center;
    canvas.text(menus_[i]->title().view(), rect, style);
  }
}

// Opening

void UMenuBar::setCurrent(std::optional<size_t> index)
{
  if (current_ == index)
    return;
  current_ = index;
  invalidate();
}

bool UMenuBar::openMenu(size_t index)
{
  UWindow* owner = window();
  if (index >= menus_.size() || !owner)
    return false;
  closeMenu();
  stop();
  const Rect title = toWindow(titleRect(index));
  const Point corner = owner->toScreen(title.origin());
  setCurrent(index);
  window_ = UMenuWindow::show(menus_[index], owner, Rect::at(corner, title.size()), false, this);
  if (!window_)
    setCurrent({});
  return window_ != nullptr;
}

void UMenuBar::closeMenu()
{
  UMenuWindow* open = std::exchange(window_, nullptr);
  if (!open)
    return;
  open->forgetOpener();
  open->closeAll();
  setCurrent({});
}

void UMenuBar::menuClosed()
{
  window_ = nullptr;
  setCurrent({});
}

void UMenuBar::openNeighbour(int32_t step)
{
  if (!current_ || menus_.empty())
    return;
  const auto size = static_cast<int32_t>(menus_.size());
  const auto next = static_cast<size_t>((static_cast<int32_t>(*current_) + step + size) % size);
  if (openMenu(next))
    window_->keyDown({0, keyArrowDown, 0}); // its first entry
}

bool UMenuBar::pointerMovedTo(Point screen)
{
  UWindow* owner = window();
  const auto title = owner ? titleAt(fromWindow(owner->fromScreen(screen))) : std::nullopt;
  if (!title || title == current_)
    return false;
  return openMenu(*title);
}

// Pointer

bool UMenuBar::mouseDown(const UMouseEvent& event)
{
  if (event.button != platform::leftButton)
    return false;
  const auto title = titleAt(event.where);
  stop();
  if (title)
    openMenu(*title);
  return false; // the menu has the pointer from now on
}

void UMenuBar::mouseMoved(const UMouseEvent& event)
{
  if (const auto title = titleAt(event.where); title != hover_) {
    hover_ = title;
    invalidate();
  }
}

void UMenuBar::mouseLeft()
{
  hover_ = {};
  invalidate();
}

void UMenuBar::attached()
{
  UView::attached();
  for (const Ref<UMenu>& menu : menus_)
    menu->translate();
}

void UMenuBar::detached()
{
  closeMenu();
  stop();
  UView::detached();
}

// Keys

void UMenuBar::begin()
{
  UApplication* application = UApplication::instance();
  const UDesktop* desktop = UDesktop::instance();
  if (walking_ || menus_.empty() || !application || application->keyFilter() || !desktop)
    return;
  walking_ = true;
  clickedAt_ = desktop->mouse().clickedAt;
  setCurrent(0);
  application->setKeyFilter([this](const UKeyCode& key) { return walk(key); });
}

void UMenuBar::stop()
{
  if (!std::exchange(walking_, false))
    return;
  setCurrent({});
  if (UApplication* application = UApplication::instance())
    application->setKeyFilter({});
}

/// A key while a title is chosen by keys and no menu is open. Any other key ends that.
bool UMenuBar::walk(const UKeyCode& key)
{
  const UDesktop* desktop = UDesktop::instance();
  if (!desktop || desktop->modalWindow() || desktop->isBehindSession() ||
      desktop->topWindow() != window() ||
      desktop->mouse().clickedAt != clickedAt_) { // something else goes on
    stop();
    return false;
  }
  const auto size = static_cast<int32_t>(menus_.size());
  const auto moveBy = [this, size](int32_t step) {
    setCurrent(static_cast<size_t>((static_cast<int32_t>(*current_) + step + size) % size));
    return true;
  };
  switch (key.key) {
  case keyArrowLeft:
    return moveBy(-1);
  case keyArrowRight:
    return moveBy(1);
  case keyArrowDown:
  case keyArrowUp:
  case keyReturn:
  case keyEnter:
  case keySpace:
    if (openMenu(*current_))
      window_->keyDown({0, keyArrowDown, 0});
    return true;
  default:
    break;
  }
  const auto title = key.has(platform::controlKey) ? std::nullopt : titleBy(letterOf(key));
  stop();
  if (title && openMenu(*title))
    window_->keyDown({0, keyArrowDown, 0});
  return title || key.key == keyEscape || key.key == keyAlt || key.key == keyF10;
}

bool UMenuBar::keyDown(const UKeyCode& key)
{
  if (key.isOnly(platform::altKey))
    if (const auto title = titleBy(letterOf(key)))
      return openMenu(*title);
  if (key.key == keyF10 && key.isOnly(0)) {
    begin();
    return true;
  }
  for (const Ref<UMenu>& menu : std::vector(menus_))
    if (menu->chooseByKey(key))
      return true;
  return false;
}

/// Alt by itself.
bool UMenuBar::keyUp(const UKeyCode& key)
{
  const UDesktop* desktop = UDesktop::instance();
  if (key.key != keyAlt || !desktop || desktop->lastKey().key != keyAlt || isMenuOpen() ||
      menus_.empty())
    return false;
  if (walking_)
    stop();
  else
    begin();
  return true;
}

} // namespace orbi
