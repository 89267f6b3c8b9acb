#pragma once

#include "ui/views/view.h"

#include <functional>

namespace orbi {

/// Bar beside something larger than its room. Higher than wide, it is vertical.
class UScrollBar : public CmClass<UScrollBar, UView> {
public:
  static constexpr const char* className = "UScrollBar";
  static constexpr int32_t thickness = 12;
  using CmClass::CmClass;

  /// Of what is scrolled, in its own measure: all of it and what is seen at once.
  void setRange(int32_t total, int32_t page);
  int32_t position() const { return position_; } ///< 0 to total - page
  void setPosition(int32_t position);            ///< bounded; nobody is told
  void scrollTo(int32_t position);               ///< likewise, and tells who asked to be told
  void setMoved(std::function<void(int32_t)> moved) { moved_ = std::move(moved); }
  bool isNeeded() const { return total_ > page_; }

  bool mouseDown(const UMouseEvent& event) override;
  void mouseMoved(const UMouseEvent& event) override;
  void draw(Canvas& canvas, const Rect& damage) override;

private:
  bool isVertical() const { return bounds().height() >= bounds().width(); }
  int32_t along(Point point) const { return isVertical() ? point.y : point.x; }
  int32_t trackLength() const { return std::max(bounds().width(), bounds().height()); }
  int32_t thumbLength() const;
  int32_t thumbStart() const;
  int32_t last() const { return std::max(total_ - page_, 0); }

  int32_t total_ = 0;
  int32_t page_ = 0;
  int32_t position_ = 0;
  int32_t pressedAt_ = 0;
  int32_t positionThen_ = 0;
  bool dragging_ = false;
  std::function<void(int32_t)> moved_;
};

} // namespace orbi
