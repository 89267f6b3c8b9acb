#pragma once

#include "ui/views/window.h"

namespace orbi {

/// Document window. The desktop's front one gets keys that nobody before it wants.
class UDocWindow : public CmClass<UDocWindow, UWindow> {
public:
  static constexpr const char* className = "UDocWindow";
  using CmClass::CmClass;
};

/// Floating panel; remembers its place relative to the application's frame, and its size.
class UPanel : public CmClass<UPanel, UWindow> {
public:
  static constexpr const char* className = "UPanel";

  explicit UPanel(const Rect& place = {}, std::string_view title = {}, uint32_t style = panelStyle)
      : CmClass(place, title, style)
  {
  }
  platform::WindowKind kind() const override { return platform::WindowKind::panel; }

protected:
  Point locationOrigin() const override;
  bool remembersSize() const override { return true; }
  bool remembersLocation() const override { return true; }
};

/// Dialog that doesn't stop the rest of the program. Return and Escape press the views named
/// "default" and "cancel".
class UDialog : public CmClass<UDialog, UWindow> {
public:
  static constexpr const char* className = "UDialog";

  explicit UDialog(const Rect& place = {}, std::string_view title = {},
                   uint32_t style = dialogStyle)
      : CmClass(place, title, style)
  {
  }

  bool open(UWindow* owner, Stored stored) override;
  bool keyDown(const UKeyCode& key) override;

  /// The answer, of the button that ended it; what closes it otherwise is cancelled.
  static constexpr int32_t cancelled = 0;
  static constexpr int32_t accepted = 1;
  int32_t result() const { return result_; }
  virtual void end(int32_t result); ///< closes it with this answer
  virtual bool canEnd(int32_t) { return true; }
  void closed() override;

  // By name, so that one that is taken out is none any more
  static constexpr const char* defaultName = "default";
  static constexpr const char* cancelName = "cancel";
  UView* defaultButton() { return findView(defaultName); } ///< that Return presses; null for none
  UView* cancelButton() { return findView(cancelName); }   ///< Escape; else that closes

protected:
  bool hasEnded() const { return ended_; }

private:
  int32_t result_ = cancelled;
  bool ended_ = false;
};

/// Dialog with a run loop of its own: presses on other windows only make it flash.
class UModalDialog : public CmClass<UModalDialog, UDialog> {
public:
  static constexpr const char* className = "UModalDialog";
  using CmClass::CmClass;

  platform::WindowKind kind() const override { return platform::WindowKind::modal; }
  bool open(UWindow* owner, Stored stored) override;

  /// Opens it in the middle of its owner, runs until it has ended and tells the answer; cancelled
  /// when it can't open or the program quits.
  int32_t run(UWindow* owner = nullptr);
  bool isRunning() const { return isOpen() && !hasEnded(); }
  bool isActive() const override;
  void closed() override;

private:
  friend class UDesktop;
  int64_t order_ = 0; ///< among all that was modal
};

/// Popup that closes on a press outside. While it is open the pointer and the keys are its own; one
/// that is opened by another lets that one have what happens over it.
class UPopupWindow : public CmClass<UPopupWindow, UWindow> {
public:
  static constexpr const char* className = "UPopupWindow";

  explicit UPopupWindow(const Rect& place = {}, std::string_view title = {},
                        uint32_t style = styleNoFrame)
      : CmClass(place, title, style)
  {
  }
  platform::WindowKind kind() const override { return platform::WindowKind::popup; }

  bool open(UWindow* owner, Stored stored) override;
  void closed() override;
  /// Where it is when it would leave the screen: moved back onto it.
  void placeAt(Point screen, Size size);

  bool isActive() const override { return isOpen() && takesInput(); }
  virtual void pressedOutside() { closeNow(); }
  virtual void pointerOutside(const UMouseEvent&) {} ///< moved where no popup is
  void onCaptureLost() override;
  /// A release whose press was elsewhere, such as on what opened it, goes to the view under it.
  void onMouseUp(const UMouseEvent& event) override;
  bool keyDown(const UKeyCode& key) override; ///< Escape closes

private:
  friend class UDesktop;
  UView* formerControl_ = nullptr; ///< had the keys before; a view that goes is taken off
};

/// Covers a screen.
class UFullScreenWindow : public CmClass<UFullScreenWindow, UWindow> {
public:
  static constexpr const char* className = "UFullScreenWindow";

  explicit UFullScreenWindow(std::string_view title = {}) : CmClass(Rect(), title, styleNoFrame) {}
  platform::WindowKind kind() const override { return platform::WindowKind::fullScreen; }
  bool open(UWindow* owner, Stored stored) override; ///< on the screen where its owner is
};

} // namespace orbi
