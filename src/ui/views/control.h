#pragma once

#include "ui/values/value.h"
#include "ui/views/view.h"

namespace orbi {

/// View that shows a value and changes it. An edit of the value begins with the press and ends with
/// the release. The value is borrowed; a control whose value has gone goes on without one.
class UControl : public CmClass<UControl, UView> {
public:
  static constexpr const char* className = "UControl";

  explicit UControl(const Rect& rect = {}, UValue* value = nullptr, std::string_view title = {});
  ~UControl() override;

  UValue* value() const { return value_; }
  virtual void setValue(UValue* value); ///< ends an edit that is under way
  bool isEditing() const { return editing_; }
  bool isEnabled() const override; ///< and the value is

  bool mouseDown(const UMouseEvent& event) override;
  void mouseMoved(const UMouseEvent& event) override;
  void mouseUp(const UMouseEvent& event) override;
  void mouseCancelled() override;
  void detached() override;
  void update(CmObject* subject, int32_t code) override;

protected:
  // What a control does in the edit that a press with the left button begins
  virtual bool pressed(const UMouseEvent&) { return true; } ///< false ends the edit at once
  virtual void dragged(const UMouseEvent&) {}
  virtual void released(const UMouseEvent&) {}
  virtual void cancelled() {}
  virtual void valueChanged() { invalidate(); }

  void beginEdit();
  void endEdit();

private:
  UValue* value_ = nullptr;
  bool editing_ = false;
};

} // namespace orbi
