#pragma once

#include "foundation/ref.h"
#include "ui/views/windows.h"

#include <functional>
#include <vector>

namespace orbi {

class UModalSession;
class UToolTips;

/// What the window system tells, one for each row of the window procedure.
enum class UWindowMessageKind {
  destroy,
  move,
  size,
  state,
  activate,
  deactivate,
  paint,
  close,
  mouseMove,
  mouseLeave,
  buttonDown,
  buttonUp,
  wheel,
  captureLost,
  filesDropped,
  timer,
  keyDown,
  keyUp
};
struct UWindowMessage {
  UWindowMessageKind kind;
  UWindow* window; ///< null where it has none
};

/// All windows of the application, the pointer's state that they share, and the way that keys and
/// wheel turns take. There is one while the application has a window system.
class UDesktop final : public CmClass<UDesktop, CmObject>, private platform::WindowSystemListener {
public:
  static constexpr const char* className = "UDesktop";

  explicit UDesktop(platform::WindowSystem& system); ///< borrowed
  UDesktop(const UDesktop&) = delete;
  ~UDesktop() override; ///< closes what is open

  static UDesktop* instance() { return instance_; } ///< null without a window system

  platform::WindowSystem& system() { return system_; }
  platform::Graphics& graphics() { return system_.graphics(); }

  // Units and pixels
  double scale() const { return scale_; } ///< pixels a unit
  Point toUnits(Point pixels) const;      ///< downward
  Rect toUnits(const Rect& pixels) const; ///< to the nearest, so that a size comes back as it was
  Rect toUnitsOutward(const Rect& pixels) const;
  Rect toPixels(const Rect& units) const; ///< to the nearest
  Rect toPixelsOutward(const Rect& units) const;
  Rect workArea(Point screen) const;      ///< of the screen there, or of the nearest one
  Rect workArea(const Rect& place) const; ///< of the one that has its middle
  Rect screenBounds(Point screen) const;
  Point pointer() const; ///< on the root

  // Windows, front to back
  const std::vector<Ref<UWindow>>& windows() const { return windows_; }
  UWindow* topWindow() const; ///< the front one that takes keys; null for none
  UDocWindow* frontDocument() const;
  UPanel* activePanel() const;       ///< null unless the active window is one
  UModalDialog* modalWindow() const; ///< the front one that is open
  bool isBehindSession() const;      ///< everything: a dialog of the desktop's own is in front
  UWindow* activeWindow() const { return activeWindow_; }
  UWindow* windowAt(Point screen) const;
  UWindow* frame() const { return frame_; } ///< whose end ends the program
  void setFrame(UWindow* frame) { frame_ = frame; }
  bool isBlocked(const UWindow& window) const; ///< by something modal
  void flashAll();
  void flashModal(); ///< and gives it the focus; one that isn't ours has it
  void closeAll();
  void cancelMouse(); ///< whoever holds the pointer in any window loses it

  // The pointer's state that all windows share
  struct Mouse {
    uint32_t button = 0; ///< of the last press
    Point pressedAt;     ///< on the root
    int64_t clickedAt = 0;
    UWindow* window = nullptr; ///< that it was in
  };
  const Mouse& mouse() const { return mouse_; }
  void clearPress() { mouse_.button = 0; }
  int32_t countClick(UWindow& window, const UMouseEvent& press); ///< 1, or 2 for a second one

  // Routing
  bool routeKey(const UKeyCode& key); ///< a key-down along its chain; whether somebody took it
  bool routeKeyUp(const UKeyCode& key);
  const UKeyCode& lastKey() const { return lastKey_; } ///< that went down, unless a press followed
  void forgetLastKey() { lastKey_ = {}; }
  static constexpr int32_t verticalAxis = 0;
  static constexpr int32_t horizontalAxis = 1;
  /// In the window system's steps, 120 a notch; what isn't a whole notch waits for the rest.
  bool turnWheel(int32_t axis, int32_t distance, Point screen);

  // Popups, of which the one in front holds the pointer for all
  UPopupWindow* frontPopup() const;          ///< that takes input; null for none
  UPopupWindow* popupAt(Point screen) const; ///< likewise
  bool isBehindPopup(const UWindow& window) const;
  void pressedOutsidePopups();

  void showBusy(bool busy); ///< the pointer that says that the program is at work
  bool isBusy() const { return busy_; }
  UToolTips& toolTips() { return *toolTips_; }

  int32_t handleMessage(FMessage& message) override;

private:
  friend class UModalDialog;
  friend class UModalSession;
  friend class UWindow;
  friend class UWindowProc;
  friend class UView;

  bool keyPressed(platform::Window& window, const platform::KeyEvent& event) override;
  void keyReleased(platform::Window& window, const platform::KeyEvent& event) override;
  void screensChanged() override;
  void displayLost() override;

  // For windows
  void opened(UWindow& window);
  void toFront(UWindow& window);
  void closed(UWindow& window);
  void retire(std::unique_ptr<UWindowProc> proc); ///< ends it once none of its events is under way
  void sweepSoon();
  void sweep();
  void forget(UView& view);
  void coverBlocked();
  void standBack();    ///< before something modal: presses and popups end
  void giveKeysBack(); ///< to what is in front now
  template <class Condition>
  UWindow* front(const Condition& condition) const;
  bool isOnScreen(const Rect& place) const;
  platform::Screen screenAt(Point screen) const;
  UWindow* windowOf(const platform::Window& window) const;
  bool routeWheel(int32_t axis, int32_t notches, Point screen);
  bool routeToPointer(const UKeyCode& key);
  bool routeFocusKey(const UKeyCode& key);
  bool routeToDocument(const UKeyCode& key);

  static inline UDesktop* instance_ = nullptr;

  platform::WindowSystem& system_;
  double scale_;
  std::vector<Ref<UWindow>> windows_;
  std::vector<std::unique_ptr<UWindowProc>> retired_;
  UWindow* activeWindow_ = nullptr; ///< of the list, like the next
  UWindow* frame_ = nullptr;
  UModalSession* session_ = nullptr; ///< the last one that began
  int64_t modals_ = 0;               ///< that there were
  Mouse mouse_;
  UKeyCode lastKey_;
  int32_t wheelRest_[2] = {};
  bool busy_ = false;
  std::unique_ptr<UToolTips> toolTips_;
};

} // namespace orbi
