#include "ui/views/graphics.h"

#include <cmath>

namespace orbi {

Size UGraphics::measure(std::string_view text, const platform::Font& font, double wrapWidth)
{
  return instance_ ? instance_->measure(text, font, wrapWidth) : Size{};
}

int32_t UGraphics::lineHeight(const platform::Font& font)
{
  if (!instance_)
    return 0;
  const platform::FontMetrics metrics = instance_->metrics(font);
  return static_cast<int32_t>(std::ceil(metrics.ascent + metrics.descent));
}

double UGraphics::offsetOf(std::string_view text, const platform::Font& font, size_t byte)
{
  return instance_ ? instance_->offsetOf(text, font, byte) : 0.0;
}

size_t UGraphics::byteAt(std::string_view text, const platform::Font& font, double offset)
{
  return instance_ ? instance_->byteAt(text, font, offset) : 0;
}

} // namespace orbi
