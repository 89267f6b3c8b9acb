#include "foundation/attributes.h"
#include "persist/default_pool.h"
#include "ui/views/desktop.h"

#include <algorithm>
#include <array>
#include <cmath>

// What the settings keep of a window, under its name.

namespace orbi {

namespace {

constexpr const char* settingsGroup = "Window";

struct StateRow {
  const char* key;
  UWindow::State state;
};
constexpr std::array<StateRow, 2> stateRows = {
    {{"Minimized", UWindow::stateMinimized}, {"Maximized", UWindow::stateMaximized}}};

FDefaults* settings(bool create)
{
  FDefaultPool* pool = FDefaultPool::instance();
  return pool ? pool->getGroup(settingsGroup, 0, create) : nullptr;
}

void setPoint(FAttributes& attributes, const char* key, const UPoint& point)
{
  attributes.setObject(key, make<UPoint>(point).detach(), ObjectMode::adopted);
}

} // namespace

bool UWindow::remembers() const
{
  const bool isWanted = (style() & styleRemembers) != 0 || remembersSize() || remembersLocation();
  return isWanted && !name().isEmpty();
}

void UWindow::saveState()
{
  FDefaults* group = remembers() ? settings(true) : nullptr;
  if (!group)
    return;
  auto attributes = make<FAttributes>();
  storeWindow(*attributes);
  group->setObject(name().text(), attributes.detach(), true);
}

void UWindow::loadStoredState()
{
  FDefaults* group = remembers() ? settings(false) : nullptr;
  if (const auto* attributes =
          castTo<FAttributes>(group ? group->getObject(name().text()) : nullptr))
    loadWindow(*attributes);
}

void UWindow::storeWindow(FAttributes& attributes)
{
  const Point origin = normalPlace_.origin();
  const Point base = locationOrigin();
  setPoint(attributes, "Position", UPoint(origin));
  if (remembersSize())
    setPoint(attributes, "Size", UPoint(normalPlace_.size()));
  if (remembersLocation())
    setPoint(attributes, "Location", UPoint(origin.x - base.x, origin.y - base.y));
  for (const StateRow& row : stateRows)
    attributes.setInt(row.key, (state_ & row.state) != 0);
  if (opacity_ < 1.0)
    attributes.setDouble("Opacity", opacity_);
  if (!hasStyle(styleRememberViews))
    return;
  auto views = make<FAttributes>();
  storeViews(*views);
  attributes.setObject("Subviews", views.detach(), ObjectMode::adopted);
}

void UWindow::loadWindow(const FAttributes& attributes)
{
  Rect place = place_;
  if (const auto* size = attributes.getObject<UPoint>("Size"); size && remembersSize())
    place = Rect::at(place.origin(), limitedSize(size->size()));
  for (const StateRow& row : stateRows)
    if (attributes.getInt(row.key) != 0)
      row.state == stateMaximized ? maximize() : minimize();
  const bool isNormal = !isMaximized() && !isMinimized();
  if (const auto* position = attributes.getObject<UPoint>("Position"); position && isNormal)
    place = Rect::at(position->point(), place.size());
  if (const auto* location = attributes.getObject<UPoint>("Location");
      location && remembersLocation()) {
    const Point base = locationOrigin();
    place = Rect::at({base.x + location->x, base.y + location->y}, place.size());
  }
  // The screen of the last time may have gone, or shrunk.
  const Rect area = UDesktop::instance()->workArea(place);
  if (remembersSize())
    place = Rect::at(place.origin(), limitedSize({std::min(place.width(), area.width()),
                                                  std::min(place.height(), area.height())}));
  setRect(movedInto(place, area));
  normalPlace_ = place_;
  double opacity = 1.0;
  if (attributes.getDouble("Opacity", opacity))
    setOpacity(opacity);
  const auto* views = attributes.getObject<FAttributes>("Subviews");
  if (views && hasStyle(styleRememberViews))
    loadViews(*views);
}

/// A size that was stored, within the form's limits and such as a window can have.
Size UWindow::limitedSize(Size size) const
{
  static constexpr int32_t farthest = 32767;
  const auto limited = [](int32_t value, int32_t least, int32_t most) {
    value = std::max(value, std::max(least, 1));
    return std::min(value, most > 0 ? most : farthest);
  };
  return {limited(size.width, smallest().width, largest().width),
          limited(size.height, smallest().height, largest().height)};
}

} // namespace orbi
