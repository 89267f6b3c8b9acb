#pragma once

#include "ui/views/view.h"

namespace orbi {

/// Corner by which a window is resized. Lies at the right bottom of its parent.
class USizeGrip final : public CmClass<USizeGrip, UView> {
public:
  static constexpr const char* className = "USizeGrip";
  static constexpr int32_t extent = 14;

  explicit USizeGrip(Size parent = {});

  void draw(Canvas& canvas, const Rect& damage) override;
  bool mouseDown(const UMouseEvent& event) override;
  void mouseMoved(const UMouseEvent& event) override;

private:
  Point pressedAt_; ///< on the root
  Size sizeThen_;
};

} // namespace orbi
