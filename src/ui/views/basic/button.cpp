#include "ui/views/basic/button.h"

#include "foundation/class_registry.h"
#include "ui/views/basic/theme.h"
#include "ui/views/graphics.h"
#include "ui/views/radio_group.h"
#include "ui/views/windows.h"

#include <array>

namespace orbi {

CM_REGISTER_ABSTRACT(UButtonBase);
CM_REGISTER(UPushButton);
CM_REGISTER(UCheckBox);

// Clicks

UButtonBase::UButtonBase(const Rect& rect, std::string_view title, UValue* value)
    : CmClass(rect, value, title)
{
  setFocusable(true);
}

bool UButtonBase::keyDown(const UKeyCode& key)
{
  UWindow* owner = window();
  const bool isClick = key.key == keySpace || key.key == keyReturn || key.key == keyEnter;
  if (!isClick || !key.isOnly(0) || !owner || !isEnabled())
    return false;
  owner->command(*this, UWindow::commandClick);
  return true;
}

void UButtonBase::setDown(bool down)
{
  if (down == down_)
    return;
  down_ = down;
  invalidate();
}

bool UButtonBase::pressed(const UMouseEvent& event)
{
  setDown(event.button != 0);
  return true;
}

void UButtonBase::dragged(const UMouseEvent& event)
{
  setDown(bounds().contains(event.where));
}

void UButtonBase::released(const UMouseEvent& event)
{
  const bool isClick = event.button == 0 || bounds().contains(event.where);
  setDown(false);
  if (isClick)
    clicked();
}

void UButtonBase::mouseEntered()
{
  hovered_ = true;
  invalidate();
}

void UButtonBase::mouseLeft()
{
  hovered_ = false;
  invalidate();
}

void UButtonBase::onFocus(bool has)
{
  focused_ = has;
  invalidate();
}

void UButtonBase::act()
{
  if (const auto action = action_) // a copy: it may end the button
    action();
}

// Push button

void UPushButton::clicked()
{
  if (UValue* own = value()) {
    own->setInt(own->getMax());
    if (value() == own) // still there
      own->setIntEx(own->getMin(), false);
  }
  act();
}

Size UPushButton::preferredSize() const
{
  const UTheme& theme = UTheme::instance();
  const int32_t text = UGraphics::measure(title().view(), theme.font).width;
  return {std::max(theme.buttonWidth, text + 2 * theme.margin), theme.buttonHeight};
}

void UPushButton::draw(Canvas& canvas, const Rect&)
{
  const UTheme& theme = UTheme::instance();
  const bool isDefault = name() == UDialog::defaultName;
  const bool isLit = isHovered() && isEnabled();
  const UTheme::Color body = isDown() ? theme.buttonDown : isLit ? theme.buttonHover : theme.button;
  canvas.fillRounded(bounds(), theme.radius, body);
  canvas.frame(bounds(), theme.radius, 1, isDefault ? theme.accent : theme.border);
  if (showsFocus())
    canvas.frame(bounds().grownBy(-2, -2), theme.radius - 1, 1, theme.accent);
  platform::TextStyle style = theme.textStyle(isEnabled() ? theme.text : theme.dimmed);
  style.justify = platform::Justify::center;
  canvas.text(title().view(), bounds().grownBy(-4, 0), style);
}

// Check box

bool UCheckBox::isChecked() const
{
  if (const URadioGroup* group = URadioGroup::groupOf(*this))
    return group->isChosen(*this);
  return value() && value()->getInt() == value()->getMaxInt();
}

void UCheckBox::clicked()
{
  if (URadioGroup* group = URadioGroup::groupOf(*this))
    group->choose(*this);
  else if (UValue* own = value())
    own->setInt(isChecked() ? own->getMin() : own->getMax());
  invalidate();
  act();
}

void UCheckBox::attached()
{
  const URadioGroup* group = URadioGroup::groupOf(*this);
  groupValue_ = group ? group->value() : nullptr;
  if (groupValue_)
    groupValue_->addDependent(this);
}

void UCheckBox::detached()
{
  UButtonBase::detached();
  if (groupValue_)
    groupValue_->removeDependent(this);
  groupValue_ = nullptr;
}

void UCheckBox::update(CmObject* subject, int32_t code)
{
  if (groupValue_ && subject == groupValue_) {
    if (code == UValue::goneNotice)
      groupValue_ = nullptr;
    invalidate();
    return;
  }
  UButtonBase::update(subject, code);
}

namespace {

constexpr int32_t boxExtent = 14;

void drawMark(Canvas& canvas, const Rect& box, UTheme::Color color)
{
  const std::array<platform::Vertex, 3> tick = {{{box.left + 3.0, box.top + 7.0},
                                                 {box.left + 6.0, box.top + 10.0},
                                                 {box.left + 11.0, box.top + 4.0}}};
  canvas.polyline(tick, 2.0, color);
}

} // namespace

Size UCheckBox::preferredSize() const
{
  const UTheme& theme = UTheme::instance();
  const int32_t text = UGraphics::measure(title().view(), theme.font).width;
  return {boxExtent + theme.gap + text, theme.rowHeight};
}

void UCheckBox::draw(Canvas& canvas, const Rect&)
{
  const UTheme& theme = UTheme::instance();
  const UTheme::Color ink = isEnabled() ? theme.text : theme.dimmed;
  const bool isRadio = URadioGroup::groupOf(*this) != nullptr;
  const double radius = isRadio ? boxExtent / 2.0 : theme.radius;
  const Rect box = Rect::at({0, (bounds().height() - boxExtent) / 2}, {boxExtent, boxExtent});
  canvas.fillRounded(box, radius, isDown() ? theme.buttonDown : theme.field);
  canvas.frame(box, radius, 1, showsFocus() || isHovered() ? theme.accent : theme.border);
  if (isChecked() && isRadio)
    canvas.fillRounded(box.grownBy(-4, -4), radius - 4, ink);
  else if (isChecked())
    drawMark(canvas, box, ink);
  const Rect words{boxExtent + theme.gap, 0, bounds().right, bounds().bottom};
  canvas.text(title().view(), words, theme.textStyle(ink));
}

} // namespace orbi
