#pragma once

#include "ui/menus/menu.h"
#include "ui/views/view.h"

#include <optional>

namespace orbi {

class UMenuWindow;

/// The rows of an open menu, of which one is current. What is longer than the window scrolls.
class UMenuView final : public CmClass<UMenuView, UView> {
public:
  static constexpr const char* className = "UMenuView";

  explicit UMenuView(UMenuWindow& window);

  Size preferredSize() const override;
  int32_t topOf(size_t index) const; ///< in the menu as a whole
  std::optional<size_t> current() const { return current_; }
  void setCurrent(std::optional<size_t> index); ///< an entry that can be chosen, or none
  /// From the current entry to the next that can be chosen, around the end; -1: upward.
  void step(int32_t by);
  void stepToEdge(int32_t by); ///< 1: to the last
  /// The next entry that begins with this letter becomes current; how many there are.
  int32_t stepToLetter(char32_t letter);
  std::optional<size_t> rowAt(Point where) const; ///< one that can be chosen
  Rect rowRect(size_t index) const;               ///< as it is scrolled now
  void point(Point where);                        ///< the pointer is there

  void draw(Canvas& canvas, const Rect& damage) override;
  bool mouseDown(const UMouseEvent&) override { return false; } ///< the release counts
  void setRect(const Rect& rect) override;
  void detached() override;
  int32_t handleMessage(FMessage& message) override; ///< "Wheel", "Timer"

private:
  struct Widths {
    double title = 0.0;
    double key = 0.0;
  };

  const UMenuItem& item(size_t index) const { return *menu_->items()[index]; }
  size_t count() const { return menu_->items().size(); }
  bool canBeCurrent(size_t index) const;
  Widths widths() const;
  int32_t height() const;
  int32_t mostScroll() const;
  bool scrolls() const { return mostScroll() > 0; }
  void scrollTo(int32_t offset);
  void scrollToShow(size_t index);
  void drawRow(Canvas& canvas, size_t index) const;
  void drawMarks(Canvas& canvas, const UMenuItem& item, const Rect& row,
                 platform::Color color) const;
  void drawArrow(Canvas& canvas, const Rect& rect, int32_t direction) const;

  UMenuWindow& window_;
  Ref<UMenu> menu_;
  std::optional<size_t> current_;
  int32_t scroll_ = 0;
  int32_t arrow_ = 0; ///< the direction in which the pointer makes it scroll
};

} // namespace orbi
