#pragma once

#include "ui/values/controller.h"
#include "ui/views/view.h"

namespace orbi {

/// The word that a template gives its window.
enum UWindowStyle : uint32_t {
  styleSizable = 0x1,
  styleMaximize = 0x4,
  styleMinimize = 0x8,
  styleMenu = 0x20,
  styleTitle = 0x40,
  styleNoErase = 0x200,
  styleSizeGrip = 0x800,
  styleRememberSize = 0x1000,
  styleRememberPlace = 0x2000,
  styleRememberViews = 0x4000,
  styleClientMovable = 0x8000, ///< a press that no view takes moves the window
  styleNoOffscreen = 0x10000,
  styleNoFrame = 0x10000000,
  styleTransparent = 0x40000000,

  styleRemembers = styleRememberSize | styleRememberPlace | styleRememberViews,

  // Presets
  windowStyle = 0xFF,
  panelStyle = 0xD2,
  dialogStyle = 0x400F2,
  skinStyle = 0x10008200
};

/// Form: the top of a template. Knows the window that it wants and the controller whose values its
/// views show.
class UBaseView : public CmClass<UBaseView, UView> {
public:
  static constexpr const char* className = "UBaseView";

  explicit UBaseView(const Rect& rect = {}, std::string_view title = {}, uint32_t style = 0)
      : CmClass(rect, title), style_(style)
  {
  }

  UBaseView* form() override { return this; }

  uint32_t style() const { return style_; }
  virtual void setStyle(uint32_t style) { style_ = style; }
  bool hasStyle(uint32_t bits) const { return (style_ & bits) == bits; }

  // Limits of its size in a window; 0: none
  Size smallest() const { return smallest_; }
  Size largest() const { return largest_; }
  virtual void setLimits(Size smallest, Size largest);

  CmObject* scheme() const { return scheme_.get(); } ///< its colours and fonts, of the skin
  void setScheme(CmObject* scheme) { scheme_ = Ref<CmObject>::share(scheme); }

  /// Borrowed, and taken off again before it goes; null for none. Its object hears the window's
  /// messages.
  FController* controller() const { return controller_; }
  void setController(FController* controller) { controller_ = controller; }
  int32_t tellController(FMessage& message); ///< 0 without one, or when it isn't an object

  // Focus
  std::vector<UView*> focusableViews(); ///< shown and enabled, in the order of the tree
  void resetFocus();                    ///< to the first of them

  // What "rememberviews" keeps: an FAttributes for each named view that has something to keep
  void storeViews(FAttributes& attributes) const;
  void loadViews(const FAttributes& attributes);

  int32_t handleMessage(FMessage& message) override; ///< "redrawWindow", "ResetControllerFocus"

private:
  uint32_t style_;
  Size smallest_;
  Size largest_;
  Ref<CmObject> scheme_;
  FController* controller_ = nullptr;
};

} // namespace orbi
