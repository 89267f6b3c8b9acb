#pragma once

#include "foundation/ref.h"
#include "platform/run_loop.h"
#include "ui/views/windows.h"

namespace orbi {

/// Shows a view's tip beside the pointer once that has rested on it, until anything happens. One
/// for the desktop.
class UToolTips {
public:
  static constexpr int64_t restMilliseconds = 500;

  explicit UToolTips(UDesktop& desktop) : desktop_(desktop) {}
  ~UToolTips() { hide(); }
  UToolTips(const UToolTips&) = delete;

  void pointerMoved(UWindow& window);
  void hide(); ///< and waits for the next move
  void forget(UView& view);
  bool isShown() const { return tip_.get() != nullptr; }

private:
  void stopTimer();
  void pointerRested();
  static CmString textOf(UView& view, Point where);

  UDesktop& desktop_;
  UWindow* window_ = nullptr; ///< that the pointer rests in, while waiting or shown
  UView* view_ = nullptr;     ///< under it
  platform::RunLoop::TimerId timer_ = 0;
  Ref<UPopupWindow> tip_;
};

} // namespace orbi
