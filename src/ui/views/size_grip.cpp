#include "ui/views/size_grip.h"

#include "foundation/class_registry.h"
#include "ui/views/basic/theme.h"
#include "ui/views/window.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(USizeGrip);

USizeGrip::USizeGrip(Size parent)
    : CmClass(Rect{parent.width - extent, parent.height - extent, parent.width, parent.height})
{
  setAttach(attachRight | attachBottom);
  setCursor(platform::Cursor::sizeFalling);
}

void USizeGrip::draw(Canvas& canvas, const Rect&)
{
  constexpr int32_t gap = 4;
  for (int32_t from = gap; from < extent; from += gap)
    canvas.line({double(from), double(extent)}, {double(extent), double(from)}, 1.0,
                UTheme::instance().border);
}

bool USizeGrip::mouseDown(const UMouseEvent& event)
{
  UWindow* owner = window();
  if (!owner || event.button != platform::leftButton)
    return false;
  pressedAt_ = event.screen;
  sizeThen_ = owner->size();
  return true;
}

void USizeGrip::mouseMoved(const UMouseEvent& event)
{
  UWindow* owner = window();
  if (!owner || !hasMouse())
    return;
  const Size least{std::max(owner->smallest().width, extent),
                   std::max(owner->smallest().height, extent)};
  const Size most = owner->largest();
  Size wanted{std::max(sizeThen_.width + event.screen.x - pressedAt_.x, least.width),
              std::max(sizeThen_.height + event.screen.y - pressedAt_.y, least.height)};
  if (most.width > 0)
    wanted.width = std::min(wanted.width, most.width);
  if (most.height > 0)
    wanted.height = std::min(wanted.height, most.height);
  owner->setRect(Rect::at(owner->place().origin(), wanted));
}

} // namespace orbi
