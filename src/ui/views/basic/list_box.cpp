#include "ui/views/basic/list_box.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "platform/clock.h"
#include "ui/views/basic/theme.h"
#include "ui/views/text_place.h"
#include "ui/views/window.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(UListBox);

namespace {

constexpr int32_t wheelRows = 3;
constexpr int64_t typingPause = 1000; ///< milliseconds after which a new text begins

bool startsAlike(std::string_view text, std::string_view beginning)
{
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return text.size() >= beginning.size() &&
         std::equal(beginning.begin(), beginning.end(), text.begin(),
                    [&](char a, char b) { return lower(a) == lower(b); });
}

} // namespace

UListBox::UListBox(const Rect& rect, UValue* value)
    : CmClass(rect, value), bar_(add(make<UScrollBar>()))
{
  setFocusable(true);
  bar_.setMoved([this](int32_t) { invalidate(); });
  layoutBar();
}

// Entries

void UListBox::setItems(std::vector<std::string> items)
{
  items_ = std::move(items);
  selected_ = -1;
  typed_.clear();
  layoutBar();
  bar_.setPosition(0);
  valueChanged();
  invalidate();
}

void UListBox::valueChanged()
{
  if (value())
    select(value()->getValue() - value()->getMin());
}

void UListBox::select(int32_t index)
{
  index = index >= 0 && index < count() ? index : -1;
  if (index == selected_)
    return;
  selected_ = index;
  showItem(index);
  invalidate();
}

void UListBox::choose(int32_t index)
{
  const int32_t former = selected_;
  select(index);
  if (selected_ == former)
    return;
  const Ref<UView> kept = Ref<UView>::share(this);
  if (value() && selected_ >= 0)
    value()->setInt(selected_ + value()->getMin());
  if (const auto chosen = chosen_)
    chosen(selected_);
  if (UWindow* owner = window())
    owner->command(*this, UWindow::commandSelection);
}

void UListBox::act()
{
  if (const auto action = action_; action && selected_ >= 0)
    action(selected_);
}

// Places

int32_t UListBox::rowHeight() const
{
  return UTheme::instance().rowHeight;
}

Rect UListBox::itemsRect() const
{
  Rect rect = bounds().grownBy(-1, -1);
  if (bar_.isVisible())
    rect.right -= UScrollBar::thickness;
  return rect;
}

int32_t UListBox::rowsShown() const
{
  return std::max((bounds().height() - 2) / rowHeight(), 1);
}

Rect UListBox::rectOf(int32_t index) const
{
  const Rect all = itemsRect();
  const int32_t top = all.top + (index - bar_.position()) * rowHeight();
  return {all.left, top, all.right, top + rowHeight()};
}

int32_t UListBox::itemAt(Point where) const
{
  if (!itemsRect().contains(where))
    return -1;
  const int32_t index = bar_.position() + (where.y - itemsRect().top) / rowHeight();
  return index < count() ? index : -1;
}

void UListBox::showItem(int32_t index)
{
  if (index < 0)
    return;
  const int32_t lowest = index - rowsShown() + 1;
  bar_.scrollTo(std::clamp(bar_.position(), lowest, std::max(index, lowest)));
}

void UListBox::setRect(const Rect& rect)
{
  UControl::setRect(rect);
  layoutBar();
}

void UListBox::layoutBar()
{
  bar_.setRange(count(), rowsShown());
  bar_.setVisible(bar_.isNeeded());
  const Rect all = bounds().grownBy(-1, -1);
  bar_.setRect({all.right - UScrollBar::thickness, all.top, all.right, all.bottom});
}

// Keys and pointer

bool UListBox::moveBy(int32_t rows)
{
  if (items_.empty())
    return false;
  const int32_t from = selected_ < 0 && rows > 0 ? -1 : std::max(selected_, 0);
  choose(static_cast<int32_t>(std::clamp<int64_t>(int64_t{from} + rows, 0, count() - 1)));
  return true;
}

bool UListBox::keyDown(const UKeyCode& key)
{
  struct Row {
    uint8_t key;
    int32_t rows;
    bool pages;
  };
  constexpr int32_t all = 1 << 30;
  constexpr Row rows[] = {{keyArrowUp, -1, false}, {keyArrowDown, 1, false}, {keyPageUp, -1, true},
                          {keyPageDown, 1, true},  {keyHome, -all, false},   {keyEnd, all, false}};
  if (!isEnabled() || (key.modifiers & ~platform::shiftKey) != 0)
    return false;
  for (const Row& row : rows)
    if (row.key == key.key)
      return moveBy(row.pages ? row.rows * std::max(rowsShown() - 1, 1) : row.rows);
  const bool isReturn = key.key == keyReturn || key.key == keyEnter;
  if (isReturn && action_ && selected_ >= 0) {
    act();
    return true;
  }
  return typeAhead(key);
}

/// The next entry that begins with what was typed; the same letter again goes on from there.
bool UListBox::typeAhead(const UKeyCode& key)
{
  if (key.character < U' ' || items_.empty() || (key.character == U' ' && typed_.empty()))
    return false;
  const int64_t now = platform::steadyNanoseconds() / 1000000;
  if (now - typedAt_ > typingPause)
    typed_.clear();
  typedAt_ = now;
  std::string sign;
  appendCharacter(sign, key.character);
  const bool isRepeated = typed_ == sign;
  if (!isRepeated)
    typed_ += sign;
  const int32_t first = std::max(selected_, 0) + (typed_ == sign && selected_ >= 0 ? 1 : 0);
  for (int32_t i = 0; i < count(); ++i) {
    const int32_t index = (first + i) % count();
    if (!startsAlike(items_[static_cast<size_t>(index)], typed_))
      continue;
    choose(index);
    break;
  }
  return true;
}

bool UListBox::mouseDown(const UMouseEvent& event)
{
  const Ref<UView> kept = Ref<UView>::share(this);
  const bool takes = UControl::mouseDown(event);
  if (takes && event.clicks == 2 && itemAt(event.where) >= 0) {
    mouseCancelled(); // the action may put the list away
    act();
  }
  return takes;
}

bool UListBox::pressed(const UMouseEvent& event)
{
  if (const int32_t index = itemAt(event.where); index >= 0)
    choose(index);
  return true;
}

void UListBox::dragged(const UMouseEvent& event)
{
  if (items_.empty())
    return;
  const int32_t row = (event.where.y - itemsRect().top) / rowHeight();
  choose(std::clamp(bar_.position() + row, 0, count() - 1));
}

void UListBox::onFocus(bool has)
{
  focused_ = has;
  invalidate();
}

int32_t UListBox::handleMessage(FMessage& message)
{
  if (!message.isMessage("Wheel"))
    return UControl::handleMessage(message);
  if (message.getInt("Axis") != 0 || !bar_.isNeeded())
    return 0;
  const auto notches = std::clamp<int64_t>(message.getInt("Distance"), -1000, 1000);
  bar_.scrollTo(bar_.position() - static_cast<int32_t>(notches) * wheelRows);
  return 1;
}

// Drawing

void UListBox::draw(Canvas& canvas, const Rect& damage)
{
  const UTheme& theme = UTheme::instance();
  canvas.fill(bounds(), theme.field);
  canvas.save();
  canvas.clip(itemsRect());
  const int32_t first = bar_.position();
  for (int32_t i = first; i < count() && i <= first + rowsShown(); ++i)
    if (!rectOf(i).intersectedWith(damage).isEmpty()) {
      if (i == selected_)
        canvas.fill(rectOf(i), focused_ ? theme.accent : theme.button);
      drawItem(canvas, i, rectOf(i));
    }
  canvas.restore();
  canvas.frame(bounds(), 0, 1, focused_ ? theme.accent : theme.border);
}

void UListBox::drawItem(Canvas& canvas, int32_t index, const Rect& rect)
{
  const UTheme& theme = UTheme::instance();
  const UTheme::Color ink = !isEnabled()         ? theme.dimmed
                            : index == selected_ ? theme.selectedText
                                                 : theme.text;
  canvas.text(items_[static_cast<size_t>(index)], rect.grownBy(-5, 0), theme.textStyle(ink));
}

} // namespace orbi
