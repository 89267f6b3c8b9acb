#include "ui/menus/menu_view.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "ui/menus/menu_window.h"
#include "ui/views/basic/theme.h"
#include "ui/views/desktop.h"
#include "ui/views/graphics.h"
#include "ui/views/text_place.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orbi {

CM_REGISTER_ABSTRACT(UMenuView); // part of a menu's window

namespace {

constexpr int32_t edge = 4; // above the first and below the last row
constexpr int32_t rowHeight = 24;
constexpr int32_t separatorHeight = 9;
constexpr int32_t tickWidth = 26;  // left of the titles
constexpr int32_t arrowWidth = 22; // right of the keys
constexpr int32_t keyGap = 28;     // between title and key
constexpr int32_t leastWidth = 140;
constexpr int32_t stripHeight = 16; // of the arrows of one that scrolls
constexpr int64_t scrollMilliseconds = 40;

int32_t heightOf(const UMenuItem& item)
{
  return item.isSeparator() ? separatorHeight : rowHeight;
}

} // namespace

UMenuView::UMenuView(UMenuWindow& window)
    : window_(window), menu_(Ref<UMenu>::share(&window.menu()))
{
  setAttach(attachAll);
}

// Place

int32_t UMenuView::topOf(size_t index) const
{
  int32_t top = edge;
  for (size_t i = 0; i < index; ++i)
    top += heightOf(item(i));
  return top;
}

int32_t UMenuView::height() const
{
  return topOf(count()) + edge;
}

UMenuView::Widths UMenuView::widths() const
{
  Widths widest;
  const platform::Font& font = UTheme::instance().font;
  for (const Ref<UMenuItem>& each : menu_->items()) {
    if (each->isSeparator())
      continue;
    const double title = UGraphics::measure(each->title().view(), font).width;
    widest.title = std::max(widest.title, title);
    if (const std::string key = each->key().text(); !key.empty())
      widest.key = std::max(widest.key, keyGap + double(UGraphics::measure(key, font).width));
  }
  return widest;
}

Size UMenuView::preferredSize() const
{
  const Widths texts = widths();
  const auto width =
      static_cast<int32_t>(std::ceil(tickWidth + texts.title + texts.key + arrowWidth));
  return {std::max(leastWidth, width), height()};
}

Rect UMenuView::rowRect(size_t index) const
{
  const int32_t top = topOf(index) - scroll_;
  return {0, top, bounds().right, top + heightOf(item(index))};
}

bool UMenuView::canBeCurrent(size_t index) const
{
  return item(index).canBeChosen();
}

std::optional<size_t> UMenuView::rowAt(Point where) const
{
  const int32_t strip = scrolls() ? stripHeight : 0;
  if (!bounds().grownBy(0, -strip).contains(where))
    return {};
  for (size_t i = 0; i < count(); ++i)
    if (rowRect(i).contains(where))
      return canBeCurrent(i) ? std::optional(i) : std::nullopt;
  return {};
}

// The current entry

void UMenuView::setCurrent(std::optional<size_t> index)
{
  if (index == current_)
    return;
  for (const auto& changed : {current_, index})
    if (changed)
      invalidate(rowRect(*changed));
  current_ = index;
}

void UMenuView::step(int32_t by)
{
  const auto size = static_cast<int32_t>(count());
  int32_t at = current_ ? static_cast<int32_t>(*current_) : by > 0 ? -1 : size;
  for (int32_t tried = 0; tried < size; ++tried) {
    at = (at + by + size) % size;
    const auto index = static_cast<size_t>(at);
    if (!canBeCurrent(index))
      continue;
    setCurrent(index);
    scrollToShow(index);
    return;
  }
}

void UMenuView::stepToEdge(int32_t by)
{
  setCurrent({});
  step(-by);
}

int32_t UMenuView::stepToLetter(char32_t letter)
{
  int32_t found = 0;
  std::optional<size_t> next;
  const size_t from = current_ ? *current_ + 1 : 0;
  for (size_t i = 0; i < count(); ++i) {
    const size_t index = (from + i) % count();
    if (!canBeCurrent(index) || !isSameLetter(characterAt(item(index).title().view(), 0), letter))
      continue;
    ++found;
    if (!next)
      next = index;
  }
  if (next) {
    setCurrent(next);
    scrollToShow(*next);
  }
  return found;
}

// Scrolling

int32_t UMenuView::mostScroll() const
{
  return std::max(height() - bounds().height(), 0);
}

void UMenuView::setRect(const Rect& rect)
{
  UView::setRect(rect);
  scrollTo(scroll_);
}

void UMenuView::scrollTo(int32_t offset)
{
  const int32_t limited = std::clamp(offset, 0, mostScroll());
  if (limited == scroll_)
    return;
  scroll_ = limited;
  invalidate();
}

void UMenuView::scrollToShow(size_t index)
{
  const int32_t strip = scrolls() ? stripHeight : 0;
  const Rect row = rowRect(index);
  if (row.top < strip)
    scrollTo(scroll_ - (strip - row.top));
  else if (row.bottom > bounds().bottom - strip)
    scrollTo(scroll_ + row.bottom - (bounds().bottom - strip));
}

void UMenuView::point(Point where)
{
  setCurrent(rowAt(where));
  const bool isInside = where.x >= 0 && where.x < bounds().right;
  const int32_t direction = !scrolls() || !isInside                    ? 0
                            : where.y < stripHeight                    ? -1
                            : where.y >= bounds().bottom - stripHeight ? 1
                                                                       : 0;
  if (direction == arrow_)
    return;
  arrow_ = direction;
  if (arrow_ != 0)
    window_.addTimer(*this, scrollMilliseconds);
  else
    window_.removeTimer(*this);
}

void UMenuView::detached()
{
  window_.removeTimer(*this);
  UView::detached();
}

int32_t UMenuView::handleMessage(FMessage& message)
{
  if (message.isMessage("Timer")) {
    scrollTo(scroll_ + arrow_ * rowHeight);
    return 1;
  }
  if (!message.isMessage("Wheel"))
    return UView::handleMessage(message);
  if (message.getInt("Axis") == UDesktop::verticalAxis)
    scrollTo(scroll_ - static_cast<int32_t>(message.getInt("Distance")) * 3 * rowHeight);
  return 1;
}

// Drawing

void UMenuView::draw(Canvas& canvas, const Rect& damage)
{
  const UTheme& theme = UTheme::instance();
  canvas.fill(bounds(), theme.field);
  for (size_t i = 0; i < count(); ++i)
    if (!rowRect(i).intersectedWith(damage).isEmpty())
      drawRow(canvas, i);
  if (scroll_ > 0)
    drawArrow(canvas, {0, 0, bounds().right, stripHeight}, -1);
  if (scroll_ < mostScroll())
    drawArrow(canvas, {0, bounds().bottom - stripHeight, bounds().right, bounds().bottom}, 1);
  canvas.frame(bounds(), 0.0, 1.0, theme.border);
}

void UMenuView::drawRow(Canvas& canvas, size_t index) const
{
  const UTheme& theme = UTheme::instance();
  const UMenuItem& entry = item(index);
  const Rect row = rowRect(index);
  if (entry.isSeparator()) {
    const double middle = (row.top + row.bottom) / 2;
    canvas.line({row.left + 8.0, middle + 0.5}, {row.right - 8.0, middle + 0.5}, 1.0, theme.border);
    return;
  }
  const bool isCurrent = current_ == index;
  const platform::Color color = isCurrent           ? theme.selectedText
                                : entry.isEnabled() ? theme.text
                                                    : theme.dimmed;
  if (isCurrent)
    canvas.fillRounded(row.grownBy(-4, 0), theme.radius, theme.accent);
  platform::TextStyle style = theme.textStyle(color);
  canvas.text(entry.title().view(), {row.left + tickWidth, row.top, row.right, row.bottom}, style);
  style.justify = platform::Justify::right;
  if (!isCurrent)
    style.color = theme.dimmed;
  canvas.text(entry.key().text(), {row.left, row.top, row.right - arrowWidth, row.bottom}, style);
  drawMarks(canvas, entry, row, color);
}

void UMenuView::drawMarks(Canvas& canvas, const UMenuItem& entry, const Rect& row,
                          platform::Color color) const
{
  const double middle = (row.top + row.bottom) / 2.0;
  if (entry.isTicked()) {
    const std::array<platform::Vertex, 3> tick{{{row.left + 9.0, middle},
                                                {row.left + 12.0, middle + 3.5},
                                                {row.left + 18.0, middle - 4.0}}};
    canvas.polyline(tick, 1.6, color);
  }
  if (entry.subMenu()) {
    const double x = row.right - 14.0;
    const std::array<platform::Vertex, 3> arrow{
        {{x, middle - 4.0}, {x + 4.5, middle}, {x, middle + 4.0}}};
    canvas.fillPolygon(arrow, color);
  }
}

void UMenuView::drawArrow(Canvas& canvas, const Rect& rect, int32_t direction) const
{
  const UTheme& theme = UTheme::instance();
  canvas.fill(rect, theme.field);
  const double x = rect.width() / 2.0;
  const double y = (rect.top + rect.bottom) / 2.0;
  const std::array<platform::Vertex, 3> arrow{
      {{x - 5.0, y - 2.5 * direction}, {x + 5.0, y - 2.5 * direction}, {x, y + 2.5 * direction}}};
  canvas.fillPolygon(arrow, theme.text);
}

} // namespace orbi
