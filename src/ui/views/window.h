#pragma once

#include "platform/run_loop.h"
#include "ui/views/base_view.h"

#include <filesystem>
#include <memory>

namespace orbi {

class UDesktop;
class UWindowProc;
class UWindowProperties;
struct UWindowMessage;

/// A window of the window system: the root of a tree of views. From `open` until it has closed the
/// desktop keeps a reference to it. Its place and its views are in units; what comes from the
/// window system arrives through its window procedure, row by row of the operations below.
class UWindow : public CmClass<UWindow, UBaseView> {
public:
  static constexpr const char* className = "UWindow";
  static constexpr const char* closeMessage = "closeWindow"; ///< posted: closes for real

  /// What dependents are told.
  enum Notice : int32_t { goneNotice = 2, beforeCloseNotice = 3 }; ///< gone: closed
  enum State : uint32_t { stateMaximized = 0x2, stateMinimized = 0x4, stateOffscreen = 0x10 };
  enum class Stored { apply, ignore }; ///< what the settings hold of it
  /// Notifications of the controls in it.
  enum Command : int32_t { commandClick = 0, commandSelection = 1, commandForward = 3 };

  /// The place is that of the area inside the frame, on the root of all screens.
  explicit UWindow(const Rect& place = {}, std::string_view title = {},
                   uint32_t style = windowStyle);
  ~UWindow() override;

  // Life
  bool open() { return open(nullptr, Stored::apply); }
  /// False, and not attached to anything, when there is no display or it refuses. Above the owner,
  /// or else above the modal window that is open.
  virtual bool open(UWindow* owner, Stored stored);
  bool isOpen() const { return proc_ != nullptr; }
  virtual bool canClose(); ///< asks the application and the controller ("MsgCloseRequest")
  void close();            ///< posts, so that the caller's stack unwinds first
  void closeNow();         ///< "Before Close", state, end; safe in an event of its own
  virtual void made() {}   ///< by the window system, and about to be shown
  virtual void closed() {} ///< it has; the last call from the desktop
  virtual platform::WindowKind kind() const { return platform::WindowKind::document; }
  virtual bool takesInput() const { return true; } ///< false for what is only shown

  // Place and state
  UWindow* window() override { return this; }
  Rect place() const { return place_; } ///< now
  void setRect(const Rect& place) override;
  void setStyle(uint32_t style) override;
  void setLimits(Size smallest, Size largest) override;
  uint32_t state() const { return state_; } ///< bits of State
  bool isMaximized() const { return (state_ & stateMaximized) != 0; }
  bool isMinimized() const { return (state_ & stateMinimized) != 0; }
  void maximize(); ///< nothing without the style; at once or when it opens
  void minimize(); ///< likewise
  void restore();
  void centerIn(const UWindow* window); ///< or on the pointer's screen
  void setTitle(std::string_view title) override;
  double opacity() const { return opacity_; }
  void setOpacity(double share);
  virtual bool isActive() const; ///< has the keys
  void bringToFront();           ///< and activates
  void flash();
  UWindow* owner() const { return owner_; }
  Point toScreen(Point point) const { return {place_.left + point.x, place_.top + point.y}; }
  Point fromScreen(Point point) const { return {point.x - place_.left, point.y - place_.top}; }

  /// One of "window.minimize", "window.maximize", "window.close", "window.title" and
  /// "window.opacity", by the whole name; null for others. Setting it acts on the window.
  UValue* property(std::string_view name);

  // Room for views
  Rect contentRect() const; ///< between menu bar and status area
  /// At the top; what is there moves down and the window grows by its height. Null takes it off.
  void setMenuBar(Ref<UView> bar);
  UView* menuBar() const { return menuBar_; }
  void setStatusView(Ref<UView> status); ///< at the bottom, a line of text high
  UView* statusView() const { return statusView_; }

  // Focus and pointer
  UView* focusView() const { return focusView_; }
  bool setFocusView(UView* view);                 ///< null for none
  bool focusNext(bool backwards);                 ///< false without a view that takes it
  UView* mouseView() const { return mouseView_; } ///< that took the pointer
  UView* hoverView() const { return hoverView_; } ///< under it
  bool takeMouse(UView& view);
  void releaseMouse(UView& view);
  bool isPainted() const { return painted_; }            ///< it was, at least once
  void cancelMouse();                                    ///< whoever holds the pointer loses it
  void viewsAt(Point point, std::vector<UView*>& views); ///< outermost first, itself included
  void updateCursor();
  virtual void scaleChanged(); ///< its place in units stays

  // Timer: one of the system for all views, while there are any that want it
  void addTimer(UView& view, int64_t milliseconds); ///< it gets "Timer"; again: another period
  void removeTimer(UView& view);

  /// A control's notification, in words of the window system.
  void command(UView& control, Command code);
  /// The menu of what lies at a place of the window, by the right button; whether there was one.
  virtual bool popupMenu(UView* view, Point where);
  /// Whether these, dragged over it, would be taken by `filesDropped`, all of them.
  virtual bool takesFiles(std::span<const std::filesystem::path>) const { return false; }
  /// Asks the user nothing: another program waits for the answer.
  virtual bool filesDropped(const std::vector<std::filesystem::path>&, Point) { return false; }

  // Operations of the window procedure
  virtual void onMoved(Point origin);
  virtual void onPositionChanged() {}
  virtual void onResize(const Rect& client);
  virtual void onState(platform::WindowState state);
  virtual void onActivate();
  virtual void onDeactivate();
  virtual void onPaint(Canvas& canvas, std::span<const Rect> damage);
  virtual void onCloseRequest();
  virtual void onMouseMove(const UMouseEvent& event);
  virtual void onMouseLeave();
  virtual void onClick(Point) {}                      ///< before each press, whatever lies there
  virtual void onMouseDown(const UMouseEvent& event); ///< left and middle
  virtual void onRightMouseDown(const UMouseEvent& event);
  virtual void onMouseUp(const UMouseEvent& event);
  virtual bool onWheel(FMessage& message, Point where);
  virtual void onCaptureLost() { cancelMouse(); }
  virtual void onTimer();
  virtual void onDestroyed(); ///< by someone else

  bool keyDown(const UKeyCode&) override { return false; } ///< as the desktop's top window
  bool keyUp(const UKeyCode& key) override { return menuBar_ && menuBar_->keyUp(key); }
  /// "Idle" becomes `idle`, "closeWindow" closes; for the rest see UBaseView.
  int32_t handleMessage(FMessage& message) override;
  virtual void idle() {} ///< when it was put on the application's idle list
  void update(CmObject* subject, int32_t code) override;

  platform::Window* system() const; ///< null unless open

protected:
  virtual platform::WindowOptions options() const; ///< by style and kind; in pixels
  virtual void storeWindow(FAttributes& attributes);
  virtual void loadWindow(const FAttributes& attributes);
  /// What its stored location is relative to.
  virtual Point locationOrigin() const { return {}; }
  virtual bool remembersSize() const { return hasStyle(styleRememberSize); }
  virtual bool remembersLocation() const { return hasStyle(styleRememberPlace); }
  void invalidateInParent(const Rect& rect) override;
  static Rect movedInto(const Rect& place, const Rect& area);
  void tellFocus(bool has); ///< the focus view has the keys, or not any more
  /// To the window's controller and to those of the forms in it.
  void tellControllers(FMessage& message);
  void tellControllers(const char* id, uint32_t state = 0, const UPoint* oldSize = nullptr);

private:
  friend class UView;
  friend class UDesktop;
  friend class UWindowProc;
  struct TimedView {
    UView* view;
    int64_t period;
    int64_t due;
  };

  void letGo(UView& view);       ///< with all in it: no focus, no pointer
  void viewRemoved(UView& view); ///< is about to be, likewise
  void dropCapture();
  void setHoverView(UView* view);
  void hoverAt(const UMouseEvent& event);
  void dragBy(const UMouseEvent& event);
  void restartTimer();
  bool remembers() const;
  Size limitedSize(Size size) const;
  void saveState();
  void loadStoredState();
  void applyLimits();
  void showAsWanted();
  void closeOwned();
  void layoutBars();
  void growBy(int32_t height);
  void tellTimer();
  void applySize(Size from);
  void endSizing();
  void stopTimers();
  void pressView(UView& view, const UMouseEvent& event);
  bool goesWithOwner() const;
  void enterState(State state, const char* before, const char* after);
  void requestState(State state);
  platform::RunLoop::TimerId startTimer(int64_t milliseconds, void (UWindow::*call)());
  UMouseEvent inView(const UMouseEvent& event, const UView& view) const;

  Rect place_;
  Rect normalPlace_; ///< when neither maximized nor minimized
  uint32_t state_ = 0;
  double opacity_ = 1.0;
  UWindow* owner_ = nullptr;
  std::unique_ptr<UWindowProc> proc_; ///< with the system's window
  std::unique_ptr<UWindowProperties> properties_;
  UView* menuBar_ = nullptr;
  UView* statusView_ = nullptr;
  UView* sizeGrip_ = nullptr;
  UView* focusView_ = nullptr;
  UView* mouseView_ = nullptr;
  UView* hoverView_ = nullptr;
  Point lastMouse_;
  Point dragFrom_; ///< from the origin to where it was taken
  platform::Cursor shownCursor_ = platform::Cursor::arrow;
  bool dragging_ = false;
  bool captured_ = false; ///< by takeMouse
  bool closing_ = false;
  bool painted_ = false;
  std::vector<TimedView> timed_;
  platform::RunLoop::TimerId timer_ = 0;
  platform::RunLoop::TimerId sizingTimer_ = 0;
};

} // namespace orbi
