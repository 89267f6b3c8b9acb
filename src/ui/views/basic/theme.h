#pragma once

#include "platform/canvas.h"

namespace orbi {

/// The plain look of windows that no skin describes: colours, font and measures in units.
struct UTheme {
  using Color = platform::Color;

  Color window{46, 48, 52, 255};
  Color field{32, 33, 36, 255};
  Color button{70, 73, 79, 255};
  Color buttonHover{82, 86, 93, 255};
  Color buttonDown{56, 58, 63, 255};
  Color accent{74, 144, 217, 255}; ///< default button, selection, progress
  Color border{100, 104, 111, 255};
  Color text{232, 233, 235, 255};
  Color dimmed{138, 142, 149, 255};
  Color selectedText{255, 255, 255, 255};
  Color tip{250, 246, 220, 255};
  Color tipText{30, 30, 30, 255};

  platform::Font font{"sans-serif", 12.0, false, false};
  int32_t rowHeight = 20;
  int32_t buttonHeight = 24;
  int32_t buttonWidth = 84; ///< at least
  int32_t margin = 12;
  int32_t gap = 8;
  double radius = 3.0;

  static UTheme& instance(); ///< of the program; what changes shows when it is drawn next

  platform::TextStyle textStyle(Color color) const
  {
    platform::TextStyle style;
    style.font = font;
    style.color = color;
    return style;
  }
};

} // namespace orbi
