#pragma once

#include "ui/views/basic/scroll_bar.h"
#include "ui/views/control.h"

#include <functional>
#include <string>
#include <vector>

namespace orbi {

/// List of texts of which one can be selected. With a value, that is the selected one's place,
/// counted from the value's minimum. Keys, wheel and the first letters of a text move the
/// selection; a double click or Return acts on it.
class UListBox : public CmClass<UListBox, UControl> {
public:
  static constexpr const char* className = "UListBox";

  explicit UListBox(const Rect& rect = {}, UValue* value = nullptr);

  // Entries
  void setItems(std::vector<std::string> items); ///< nothing is selected, or what the value says
  const std::vector<std::string>& items() const { return items_; }
  int32_t count() const { return static_cast<int32_t>(items_.size()); }
  int32_t selected() const { return selected_; } ///< -1: none
  void select(int32_t index);                    ///< nobody is told; out of range: none
  void choose(int32_t index);                    ///< as the user does it
  void showItem(int32_t index);                  ///< scrolls as far as it takes
  int32_t itemAt(Point where) const;             ///< -1 for none

  void setChanged(std::function<void(int32_t)> changed) { chosen_ = std::move(changed); }
  void setAction(std::function<void(int32_t)> action) { action_ = std::move(action); }

  void setRect(const Rect& rect) override;
  bool keyDown(const UKeyCode& key) override;
  void onFocus(bool has) override;
  void draw(Canvas& canvas, const Rect& damage) override;
  int32_t handleMessage(FMessage& message) override; ///< "Wheel"

protected:
  virtual void drawItem(Canvas& canvas, int32_t index, const Rect& rect); ///< on its ground
  bool mouseDown(const UMouseEvent& event) override;
  bool pressed(const UMouseEvent& event) override;
  void dragged(const UMouseEvent& event) override;
  void valueChanged() override;

private:
  int32_t rowHeight() const;
  int32_t rowsShown() const;
  Rect itemsRect() const;
  Rect rectOf(int32_t index) const;
  void layoutBar();
  bool moveBy(int32_t rows);
  bool typeAhead(const UKeyCode& key);
  void act();

  std::vector<std::string> items_;
  int32_t selected_ = -1;
  UScrollBar& bar_;
  std::string typed_;
  int64_t typedAt_ = 0; ///< milliseconds
  bool focused_ = false;
  std::function<void(int32_t)> chosen_;
  std::function<void(int32_t)> action_;
};

} // namespace orbi
