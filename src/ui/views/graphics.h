#pragma once

#include "ui/views/point.h"

#include <string_view>

namespace orbi {

/// Measures text for views. Theirs is the desktop's; a program that only draws pictures gives its
/// own. Without any, a text takes no room.
class UGraphics {
public:
  static platform::Graphics* instance() { return instance_; }
  static void setInstance(platform::Graphics* graphics) { instance_ = graphics; } ///< borrowed

  static Size measure(std::string_view text, const platform::Font& font, double wrapWidth = 0.0);
  static int32_t lineHeight(const platform::Font& font);
  static double offsetOf(std::string_view text, const platform::Font& font, size_t byte);
  static size_t byteAt(std::string_view text, const platform::Font& font, double offset);

private:
  static inline platform::Graphics* instance_ = nullptr;
};

} // namespace orbi
