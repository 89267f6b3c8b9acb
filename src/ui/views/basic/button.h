#pragma once

#include "ui/views/control.h"

#include <functional>

namespace orbi {

/// What can be clicked, by pointer and by key: the common part of the buttons.
class UButtonBase : public CmClass<UButtonBase, UControl> {
public:
  static constexpr const char* className = "UButtonBase";

  explicit UButtonBase(const Rect& rect = {}, std::string_view title = {}, UValue* value = nullptr);

  void setAction(std::function<void()> action) { action_ = std::move(action); }

  bool keyDown(const UKeyCode& key) override; ///< Space and Return click
  void mouseEntered() override;
  void mouseLeft() override;
  void onFocus(bool has) override;

protected:
  virtual void clicked() = 0; ///< in the edit of the value
  bool pressed(const UMouseEvent& event) override;
  void dragged(const UMouseEvent& event) override;
  void released(const UMouseEvent& event) override;
  void cancelled() override { setDown(false); }
  void act(); ///< what was set; the last thing that a click does

  bool isDown() const { return down_; }
  bool isHovered() const { return hovered_; }
  bool showsFocus() const { return focused_; }

private:
  void setDown(bool down);

  std::function<void()> action_;
  bool down_ = false;
  bool hovered_ = false;
  bool focused_ = false;
};

/// Push button. A click sets its value, tells the target, and takes it back.
class UPushButton : public CmClass<UPushButton, UButtonBase> {
public:
  static constexpr const char* className = "UPushButton";
  using CmClass::CmClass;

  Size preferredSize() const override;
  void draw(Canvas& canvas, const Rect& damage) override;

protected:
  void clicked() override;
};

/// Box that shows whether its value is at its maximum; a member of a radio group shows whether it
/// is the chosen one.
class UCheckBox : public CmClass<UCheckBox, UButtonBase> {
public:
  static constexpr const char* className = "UCheckBox";
  using CmClass::CmClass;

  bool isChecked() const;
  Size preferredSize() const override;
  void draw(Canvas& canvas, const Rect& damage) override;
  void attached() override;
  void detached() override;
  void update(CmObject* subject, int32_t code) override;

protected:
  void clicked() override;

private:
  UValue* groupValue_ = nullptr; ///< that it depends on, while in a group
};

} // namespace orbi
