#pragma once

#include "ui/views/view.h"

namespace orbi {

/// Text on the window's ground: its title.
class ULabel : public CmClass<ULabel, UView> {
public:
  static constexpr const char* className = "ULabel";
  using CmClass::CmClass;

  void setJustify(platform::Justify justify) { justify_ = justify; }
  void setWraps(bool wraps) { wraps_ = wraps; } ///< at its width, from the top down
  void setBold(bool bold) { bold_ = bold; }
  Size preferredSize() const override; ///< wrapped: at the width that it has
  void draw(Canvas& canvas, const Rect& damage) override;

private:
  platform::Font font() const;

  platform::Justify justify_ = platform::Justify::left;
  bool wraps_ = false;
  bool bold_ = false;
};

/// Ground of a window that no skin describes.
class UGround : public CmClass<UGround, UView> {
public:
  static constexpr const char* className = "UGround";
  using CmClass::CmClass;

  void draw(Canvas& canvas, const Rect& damage) override;
};

} // namespace orbi
