#include "ui/views/basic/progress_bar.h"

#include "foundation/class_registry.h"
#include "ui/views/basic/theme.h"

#include <cmath>

namespace orbi {

CM_REGISTER(UProgressBar);

void UProgressBar::draw(Canvas& canvas, const Rect&)
{
  const UTheme& theme = UTheme::instance();
  canvas.fillRounded(bounds(), theme.radius, theme.field);
  const float share = value() ? value()->getNormalized() : 0.0f;
  Rect done = bounds().grownBy(-2, -2);
  done.right = done.left + static_cast<int32_t>(std::lround(share * float(done.width())));
  if (!done.isEmpty())
    canvas.fillRounded(done, theme.radius - 1, theme.accent);
  canvas.frame(bounds(), theme.radius, 1, theme.border);
}

} // namespace orbi
