#pragma once

#include "platform/canvas.h"
#include "platform/geometry.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orbi::platform {

class Window;

// Everything here is in pixels of the screen and belongs to the main thread. Events are told while
// the run loop's `runOnce` runs, never from within a call of this interface.

enum class WindowKind { frame, document, fullScreen, panel, popup, modal };
enum class WindowState { normal, minimized, maximized };
enum class Cursor {
  arrow,
  text,
  hand,
  cross,
  wait,
  move,
  sizeHorizontal,
  sizeVertical,
  sizeFalling, ///< from top left to bottom right
  sizeRising,
  forbidden,
  none
};

/// Of the pointer, as bits.
enum Buttons : uint32_t { leftButton = 1, middleButton = 2, rightButton = 4 };

/// Held with a key or a button, as bits. The toolkit's own numbers.
enum Modifiers : uint32_t { shiftKey = 1, altKey = 2, controlKey = 4, superKey = 8 };

struct PointerEvent {
  Point position;       ///< in the window's client area
  Point screen;         ///< on the root of all screens
  uint32_t button = 0;  ///< that went down or up; 0 for a move
  uint32_t buttons = 0; ///< down now
  uint32_t modifiers = 0;
  int64_t milliseconds = 0; ///< the window system's clock
};

struct WheelEvent {
  PointerEvent at;
  int32_t distance = 0;   ///< 120 a notch, positive away from the user
  int32_t horizontal = 0; ///< 120 a notch, positive to the right
};

/// A key by its meaning in the present layout. Letters and digits by their capital, so 'A' whatever
/// Shift does; keys without a sign by the names below; 0 when it is neither.
enum class Key : uint32_t {
  none = 0,
  backspace = 0x10000,
  tab,
  enter,
  pause,
  escape,
  space,
  end,
  home,
  left,
  up,
  right,
  down,
  pageUp,
  pageDown,
  print,
  padEnter,
  insert,
  remove,
  help,
  menu,
  pad0,
  pad9 = pad0 + 9,
  padMultiply,
  padAdd,
  padSeparator,
  padSubtract,
  padDecimal,
  padDivide,
  padEquals,
  f1,
  f24 = f1 + 23,
  numLock,
  scrollLock,
  capsLock,
  shift,
  control,
  alt,
  super
};

struct KeyEvent {
  Key key = Key::none;
  std::string text; ///< UTF-8 that the stroke types, empty for none; no control characters
  uint32_t modifiers = 0;
  bool down = true;
  bool repeats = false;
  int64_t milliseconds = 0;
  bool isTaken = false; ///< goes up for us only, as the keys go elsewhere from now on
};

struct Screen {
  Rect bounds;
  Rect workArea; ///< without the desktop's bars
  bool isPrimary = false;
};

/// Who gets what the user drags over a window.
enum class DropTaker { nobody, window, child };

/// What a window tells the one who made it.
class WindowListener {
public:
  virtual void windowDestroyed() = 0; ///< by someone else; the window is dead
  virtual void windowMoved(Point client) = 0;
  virtual void windowResized(Size client) = 0;
  virtual void windowStateChanged(WindowState state) = 0; ///< before the size that comes with it
  virtual void windowActivated() = 0;
  virtual void windowDeactivated() = 0;
  /// The region is what has to be drawn, as rectangles that don't overlap; the canvas is clipped to
  /// it. Once in each pass of the loop, however many calls of `invalidate` there were.
  virtual void windowPaint(Canvas& canvas, const std::vector<Rect>& region) = 0;
  virtual void windowCloseRequested() = 0;
  virtual void pointerMoved(const PointerEvent& event) = 0; ///< the last of those that wait
  virtual void pointerLeft() = 0;
  virtual void buttonPressed(const PointerEvent& event) = 0;
  virtual void buttonReleased(const PointerEvent& event) = 0;
  virtual void wheelTurned(const WheelEvent& event) = 0;
  virtual void captureLost() = 0; ///< someone else took the pointer
  /// Whose they would be; without any, whatever else it is that is dragged. What is for a child
  /// goes to the plug-in's window under the pointer, if that takes drops. Asked again and again.
  virtual DropTaker filesDragged(const std::vector<std::filesystem::path>& files) = 0;
  /// Those that are the window's were let go. True when it takes them: the one who dragged waits
  /// for the answer, so nobody is asked before.
  virtual bool filesDropped(const std::vector<std::filesystem::path>& files, Point at) = 0;

protected:
  ~WindowListener() = default;
};

/// What concerns no window of its own.
class WindowSystemListener {
public:
  /// A key that came to one of our windows. True ends it.
  virtual bool keyPressed(Window& window, const KeyEvent& event) = 0;
  virtual void keyReleased(Window& window, const KeyEvent& event) = 0;
  virtual void screensChanged() = 0; ///< also when the scale did
  virtual void displayLost() = 0;    ///< for good: all windows are dead, calls do nothing

protected:
  ~WindowSystemListener() = default;
};

struct WindowOptions {
  WindowKind kind = WindowKind::document;
  std::string className;   ///< by which window managers and scripts know the kind
  std::string title;       ///< UTF-8; bytes that aren't are replaced
  Rect client;             ///< where the area inside the frame goes
  bool placed = true;      ///< false leaves the place to the window manager
  Window* owner = nullptr; ///< stays above it; a modal one blocks nothing by itself
  bool sizable = true;
  bool minimizable = true;
  bool maximizable = true;
  bool titled = true;       ///< the frame has a title bar
  bool hasMenu = true;      ///< the frame has the desktop's menu
  bool framed = true;       ///< with the desktop's title bar and border
  bool transparent = false; ///< with an alpha channel, where the desktop can
  bool offscreen = true;    ///< painted in memory and copied, so that nothing flickers
};

/// A native child in which a plug-in draws.
class ChildWindow {
public:
  virtual ~ChildWindow() = default; ///< destroys the native one if it's still there
  virtual void* handle() const = 0; ///< X11: the window's id
  virtual bool isAlive() const = 0; ///< false once someone destroyed it
  virtual void setBounds(const Rect& bounds) = 0;
  virtual Rect bounds() const = 0; ///< as they are now, also when the plug-in changed them
};

class Window {
public:
  virtual ~Window() = default;

  virtual void* handle() const = 0;
  virtual void show() = 0; ///< maps and, unless it is a popup, activates
  virtual void hide() = 0;
  virtual bool isVisible() const = 0;
  virtual void activate() = 0; ///< to the front, with the keys
  virtual bool isActive() const = 0;
  virtual void flash() = 0; ///< asks for the user's attention

  virtual Rect client() const = 0;                ///< on the root
  virtual Rect frameExtents() const = 0;          ///< widths of the desktop's border on each side
  virtual void setClient(const Rect& client) = 0; ///< moves and resizes
  virtual void setLimits(Size smallest, Size largest) = 0; ///< 0: none
  virtual WindowState state() const = 0;
  virtual void setState(WindowState state) = 0;
  virtual void setTitle(std::string_view title) = 0;
  virtual void setIcon(Image& image) = 0;
  virtual void setOpacity(double share) = 0; ///< 0 to 1
  virtual void setCursor(Cursor cursor) = 0;

  virtual void invalidate(const Rect& rect) = 0;
  virtual void paintNow() = 0; ///< what is invalid, without waiting for the pass

  /// All presses, moves and releases come here until `releaseCapture`, with places outside of the
  /// window as well. A press captures by itself until all buttons are up. `pointerAndKeys`
  /// also takes the keys, which popups need as they are never active.
  enum class Capture { pointer, pointerAndKeys };
  virtual bool capture(Capture what) = 0; ///< false when someone else has them
  virtual void releaseCapture() = 0;

  virtual std::unique_ptr<ChildWindow> makeChild(const Rect& bounds, std::string_view name) = 0;
  /// While this is on, what the pointer does over a child comes to the window's listener as well.
  virtual void coverChildren(bool on) = 0;
};

/// The desktop. At most one at a time.
class WindowSystem {
public:
  virtual ~WindowSystem() = default;

  virtual Graphics& graphics() = 0;
  virtual bool isLost() const = 0;
  virtual void setListener(WindowSystemListener* listener) = 0;

  /// Null when the display can't make one. The listener outlives the window.
  virtual std::unique_ptr<Window> makeWindow(const WindowOptions& options,
                                             WindowListener& listener) = 0;

  virtual double scale() const = 0; ///< pixels a unit: 1 where a screen has 96 dots an inch
  virtual std::vector<Screen> screens() const = 0; ///< the primary one first; never empty
  virtual Point pointer() const = 0;               ///< on the root
  virtual int64_t doubleClickMilliseconds() const = 0;

  /// Name of the kind of native window below one of ours that holds the keys, such as "Edit" for a
  /// plug-in's text field; empty when one of ours, or nobody here, has them.
  virtual std::string focusedChildClass() const = 0;

  virtual void setClipboard(std::string text) = 0;
  /// Waits a second at most for its owner; empty unless all of it has come, up to 16 MiB.
  virtual std::string clipboard() = 0;
  virtual void flush() = 0; ///< sends what waits to the display
};

/// Connects to the user's desktop and joins the run loop, which must be there. Null, with a line
/// that says why, when there is no display or a library is missing. `program` names the instrument
/// to window managers.
std::unique_ptr<WindowSystem> openWindowSystem(const std::string& program, std::string& error);

} // namespace orbi::platform
