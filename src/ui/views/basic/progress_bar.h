#pragma once

#include "ui/views/control.h"

namespace orbi {

/// Shows how far its value is on its way from minimum to maximum.
class UProgressBar : public CmClass<UProgressBar, UControl> {
public:
  static constexpr const char* className = "UProgressBar";
  using CmClass::CmClass;

  bool mouseDown(const UMouseEvent&) override { return false; }
  void draw(Canvas& canvas, const Rect& damage) override;
};

} // namespace orbi
