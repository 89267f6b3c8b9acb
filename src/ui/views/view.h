#pragma once

#include "foundation/ref.h"
#include "foundation/string.h"
#include "platform/window_system.h"
#include "ui/views/key_code.h"
#include "ui/views/point.h"

#include <span>
#include <vector>

namespace orbi {

class UBaseView;
class UWindow;

/// What the pointer did, in the coordinates of the view that hears of it.
struct UMouseEvent {
  Point where;
  Point screen;           ///< on the root of all screens
  uint32_t button = 0;    ///< that went down or up; 0 for a move and a click by key
  uint32_t buttons = 0;   ///< down now
  uint32_t modifiers = 0; ///< bits of platform::Modifiers
  int32_t clicks = 0;     ///< with a press: 1, or 2 for the second of a double click
  int64_t milliseconds = 0;

  UMouseEvent movedTo(Point place) const
  {
    UMouseEvent moved = *this;
    moved.where = place;
    return moved;
  }
};

/// Edges of a view that go with the same edges of its parent, as bits. Opposite ones stretch it;
/// right or bottom alone moves it; nothing, left and top keep its place.
enum UAttach : uint32_t {
  attachLeft = 0x100,
  attachTop = 0x200,
  attachRight = 0x400,
  attachBottom = 0x800,
  attachAll = 0xF00
};

/// Part of a window: a rectangle in its parent's coordinates with children on top of it, the last
/// one in front. Drawing and events come in the view's own coordinates, whose origin is its left
/// top corner. A parent owns its children; a view that leaves its window, or goes, is forgotten as
/// holder of the pointer, the focus and the keys. Main thread.
class UView : public CmClass<UView, CmObject> {
public:
  static constexpr const char* className = "UView";

  explicit UView(const Rect& rect = {}, std::string_view title = {});
  UView(const UView&) = delete;
  ~UView() override;

  // Place
  const Rect& rect() const { return rect_; } ///< in the parent
  Rect bounds() const { return {0, 0, rect_.width(), rect_.height()}; }
  Size size() const { return rect_.size(); }
  virtual void setRect(const Rect& rect); ///< children follow by their attachment
  void moveTo(Point origin) { setRect(Rect::at(origin, size())); }
  virtual Size preferredSize() const { return size(); } ///< that its contents ask for
  uint32_t attach() const { return attach_; }
  void setAttach(uint32_t mask) { attach_ = mask; }
  Point toWindow(Point point) const; ///< of the root of the tree
  Point fromWindow(Point point) const;
  Rect toWindow(const Rect& rect) const;

  // Tree
  UView* parent() const { return parent_; }
  virtual UWindow* window();              ///< null outside of one
  virtual UBaseView* form();              ///< the nearest above, or itself
  bool isWithin(const UView& view) const; ///< or the same
  UView& add(Ref<UView> child);           ///< in front of the others; leaves its former parent
  template <class T>
  T& add(Ref<T> child)
  {
    T& view = *child;
    add(Ref<UView>(std::move(child)));
    return view;
  }
  Ref<UView> remove(UView& child); ///< null when it isn't one
  void removeAll();
  std::span<const Ref<UView>> children() const { return children_; } ///< back to front
  UView* findView(std::string_view name); ///< itself or below, by name; null for none
  virtual void attached() {}              ///< it, or one above it, came into a tree
  virtual void detached() {}              ///< is about to leave it

  // Properties
  const CmString& name() const { return name_; }
  void setName(std::string_view name) { name_.set(name); }
  const CmString& title() const { return title_; }
  virtual void setTitle(std::string_view title);
  const CmString& tip() const { return tip_; }
  void setTip(std::string_view tip) { tip_.set(tip); }
  platform::Cursor cursor() const { return cursor_; }
  void setCursor(platform::Cursor cursor) { cursor_ = cursor; }
  bool isVisible() const { return visible_; } ///< by itself
  bool isShown() const;                       ///< with all above it
  void setVisible(bool visible);
  virtual bool isEnabled() const { return enabled_; }
  virtual void setEnabled(bool enabled);

  // Drawing: the background first, so that what lies below never shows through by accident
  virtual void draw(Canvas&, const Rect& /*damage*/) {}
  void invalidate() { invalidate(bounds()); }
  void invalidate(const Rect& rect); ///< drawn anew on the loop's next pass
  /// Draws it and what lies on it, as far as it meets the damage: rectangles of the tree's root,
  /// where the view's origin is.
  void drawTree(Canvas& canvas, std::span<const Rect> damage, Point origin);

  // The pointer
  virtual bool hits(Point) const { return true; } ///< whether a point in its bounds is its own
  enum class Reach { visible, enabled };
  /// The deepest view that is visible, or enabled as well, and hit; null when it isn't itself.
  UView* viewAt(Point point, Reach reach = Reach::visible);
  /// True takes the pointer: moves and the release come here, wherever it goes.
  virtual bool mouseDown(const UMouseEvent&) { return false; }
  virtual void mouseMoved(const UMouseEvent&) {} ///< while it lies over the view or is taken
  virtual void mouseUp(const UMouseEvent&) {}    ///< if it was taken
  virtual void mouseCancelled() {}               ///< someone else took it, no release will come
  virtual void mouseEntered() {}
  virtual void mouseLeft() {}
  bool takeMouse(); ///< also without a press; false outside of a window
  void releaseMouse();
  bool hasMouse();

  // Keys
  virtual bool keyDown(const UKeyCode&) { return false; } ///< true ends it
  virtual bool keyUp(const UKeyCode&) { return false; }
  bool isFocusable() const { return focusable_; }
  void setFocusable(bool focusable) { focusable_ = focusable; } ///< Tab stops here
  bool takeFocus();                                             ///< false when it can't have it
  bool hasFocus();
  virtual void onFocus(bool) { invalidate(); } ///< drawn by the view itself

  // State that windows with "rememberviews" keep, by name
  virtual bool storeState(FAttributes&) const { return false; } ///< whether there is any
  virtual void loadState(const FAttributes&) {}

protected:
  virtual void invalidateInParent(const Rect& rect); ///< of the parent; a window asks its system

private:
  friend class UWindow;
  void resizeChildren(Size from, Size to);
  void tellAttached(bool attached);
  void forgetTree();

  Rect rect_;
  UView* parent_ = nullptr;
  std::vector<Ref<UView>> children_;
  CmString name_;
  CmString title_;
  CmString tip_;
  platform::Cursor cursor_ = platform::Cursor::arrow;
  uint32_t attach_ = 0;
  bool visible_ = true;
  bool enabled_ = true;
  bool focusable_ = false;
};

} // namespace orbi
