#include "ui/views/basic/label.h"

#include "foundation/class_registry.h"
#include "ui/views/basic/theme.h"
#include "ui/views/graphics.h"

namespace orbi {

CM_REGISTER(ULabel);
CM_REGISTER(UGround);

platform::Font ULabel::font() const
{
  platform::Font font = UTheme::instance().font;
  font.bold = bold_;
  return font;
}

Size ULabel::preferredSize() const
{
  return UGraphics::measure(title().view(), font(), wraps_ ? bounds().width() : 0);
}

void ULabel::draw(Canvas& canvas, const Rect&)
{
  const UTheme& theme = UTheme::instance();
  platform::TextStyle style = theme.textStyle(isEnabled() ? theme.text : theme.dimmed);
  style.font = font();
  style.justify = justify_;
  style.wraps = wraps_;
  style.align = wraps_ ? platform::Align::top : platform::Align::center;
  canvas.text(title().view(), bounds(), style);
}

void UGround::draw(Canvas& canvas, const Rect& damage)
{
  canvas.fill(damage, UTheme::instance().window);
}

} // namespace orbi
