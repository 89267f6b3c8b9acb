#pragma once

#include "ui/views/desktop.h"

namespace orbi {

/// Turns what the window system tells of one window into the operations of its UWindow. Owns the
/// system's window and may outlive the UWindow until the last of its events is done; what still
/// comes then is passed over.
class UWindowProc final : public platform::WindowListener {
public:
  explicit UWindowProc(UWindow& window) : window_(&window) {}

  bool open(UDesktop& desktop, const platform::WindowOptions& options); ///< false: refused
  platform::Window* system() const { return system_.get(); }
  void detach(); ///< the UWindow is no more
  bool isIdle() const { return depth_ == 0; }
  void timer();

private:
  class Entry;

  void windowDestroyed() override;
  void windowMoved(Point client) override;
  void windowResized(Size client) override;
  void windowStateChanged(platform::WindowState state) override;
  void windowActivated() override;
  void windowDeactivated() override;
  void windowPaint(Canvas& canvas, const std::vector<Rect>& region) override;
  void windowCloseRequested() override;
  void pointerMoved(const platform::PointerEvent& event) override;
  void pointerLeft() override;
  void buttonPressed(const platform::PointerEvent& event) override;
  void buttonReleased(const platform::PointerEvent& event) override;
  void wheelTurned(const platform::WheelEvent& event) override;
  void captureLost() override;
  platform::DropTaker filesDragged(const std::vector<std::filesystem::path>& files) override;
  bool filesDropped(const std::vector<std::filesystem::path>& files, Point at) override;

  UWindow* receiver(const UMouseEvent& event) const;
  UMouseEvent toUnits(const platform::PointerEvent& event) const;
  UMouseEvent inWindow(const UMouseEvent& event, const UWindow& window) const;

  UWindow* window_;
  UDesktop* desktop_ = nullptr;
  std::unique_ptr<platform::Window> system_;
  int depth_ = 0; ///< events under way
};

} // namespace orbi
