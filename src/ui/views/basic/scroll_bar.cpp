#include "ui/views/basic/scroll_bar.h"

#include "foundation/class_registry.h"
#include "ui/views/basic/theme.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(UScrollBar);

namespace {

constexpr int32_t shortestThumb = 18;

} // namespace

void UScrollBar::setRange(int32_t total, int32_t page)
{
  total_ = std::max(total, 0);
  page_ = std::max(page, 0);
  setPosition(position_);
  invalidate();
}

void UScrollBar::setPosition(int32_t position)
{
  position = std::clamp(position, 0, last());
  if (position == position_)
    return;
  position_ = position;
  invalidate();
}

void UScrollBar::scrollTo(int32_t position)
{
  const int32_t former = position_;
  setPosition(position);
  if (position_ != former && moved_)
    moved_(position_);
}

int32_t UScrollBar::thumbLength() const
{
  if (!isNeeded())
    return 0;
  const auto share = int64_t{trackLength()} * page_ / total_;
  return std::min(std::max(static_cast<int32_t>(share), shortestThumb), trackLength());
}

int32_t UScrollBar::thumbStart() const
{
  return last() > 0
             ? static_cast<int32_t>(int64_t{trackLength() - thumbLength()} * position_ / last())
             : 0;
}

/// On the thumb it is dragged, beside it a page is turned.
bool UScrollBar::mouseDown(const UMouseEvent& event)
{
  if (event.button != platform::leftButton || !isNeeded())
    return false;
  const int32_t place = along(event.where);
  const int32_t start = thumbStart();
  dragging_ = place >= start && place < start + thumbLength();
  pressedAt_ = place;
  positionThen_ = position_;
  if (!dragging_)
    scrollTo(place < start ? position_ - page_ : position_ + page_);
  return true;
}

void UScrollBar::mouseMoved(const UMouseEvent& event)
{
  const int32_t room = trackLength() - thumbLength();
  if (!hasMouse() || !dragging_ || room <= 0)
    return;
  const int64_t distance = int64_t{along(event.where)} - pressedAt_;
  const int64_t wanted = positionThen_ + distance * last() / room;
  scrollTo(static_cast<int32_t>(std::clamp<int64_t>(wanted, 0, last())));
}

void UScrollBar::draw(Canvas& canvas, const Rect&)
{
  const UTheme& theme = UTheme::instance();
  canvas.fill(bounds(), theme.field);
  if (!isNeeded())
    return;
  const int32_t from = thumbStart();
  const int32_t to = from + thumbLength();
  const Rect thumb = isVertical() ? Rect{2, from + 1, bounds().right - 2, to - 1}
                                  : Rect{from + 1, 2, to - 1, bounds().bottom - 2};
  canvas.fillRounded(thumb, (thickness - 4) / 2.0, theme.border);
}

} // namespace orbi
