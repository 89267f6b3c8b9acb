#pragma once

#include "soundfont/editor/geometry.h"

/// How the editor looks: every color and every length that more than one part uses.
namespace soundfont::style {

constexpr Color background{0x14161A};
constexpr Color panel{0x1D2026};
constexpr Color panelEdge{0x2A2E37};
constexpr Color well{0x16181D}; ///< what lies deeper than a panel: lists, tracks
constexpr Color hovered{0x262A32};
constexpr Color chosen{0x2B3A3C};
constexpr Color text{0xE4E7EC};
constexpr Color quietText{0x949BA8};
constexpr Color faintText{0x5D6472};
constexpr Color accent{0x5ED0BE};
constexpr Color warning{0xF0917E};
constexpr Color whiteKey{0xE9EAEC};
constexpr Color blackKey{0x23262C};

constexpr double width = 980;
constexpr double height = 640;
constexpr double margin = 16;
constexpr double gap = 12;
constexpr double padding = 14; ///< within a panel
constexpr double titleHeight = 36;
constexpr double radius = 9;

constexpr double titleSize = 11;
constexpr double textSize = 12.5;
constexpr double smallSize = 10.5;

} // namespace soundfont::style
