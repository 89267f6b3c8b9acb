#pragma once

#include "ui/menus/menu.h"
#include "ui/views/windows.h"

namespace orbi {

class UMenuView;

/// Who opened a menu and takes part in its keys: a menu bar that goes on to the next menu.
class UMenuOpener {
public:
  virtual void openNeighbour(int32_t step) = 0;  ///< -1: the one to the left
  virtual bool pointerMovedTo(Point screen) = 0; ///< outside of all menus; true: it took it
  virtual void menuClosed() = 0;

protected:
  ~UMenuOpener() = default;
};

/// An open menu. Sub-menus are windows of their own that are owned by it and close with it.
class UMenuWindow final : public CmClass<UMenuWindow, UPopupWindow> {
public:
  static constexpr const char* className = "UMenuWindow";

  /// For `show`, which is how one is opened.
  UMenuWindow(Ref<UMenu> menu, UMenuWindow* parent, UMenuOpener* opener);

  /// Opens at a place of the screen, with the top left corner there, or else beside or above the
  /// anchor, which stays in sight. Null when there is nothing to show or no display.
  static UMenuWindow* show(Ref<UMenu> menu, UWindow* owner, const Rect& anchor, bool beside,
                           UMenuOpener* opener = nullptr);
  /// Likewise, with an entry under the place: what a field's menu does with its present choice.
  static UMenuWindow* showAt(Ref<UMenu> menu, UWindow* owner, Point screen,
                             const UMenuItem* under = nullptr);

  UMenu& menu() const { return *menu_; }
  void forgetOpener() { opener_ = nullptr; } ///< which goes

  // For its view
  void openSubMenu(size_t index, bool selectsFirst);
  void closeSubMenu();
  void choose(size_t index); ///< closes all menus and tells
  void closeAll();

  bool keyDown(const UKeyCode& key) override;
  void onMouseMove(const UMouseEvent& event) override;
  void onMouseDown(const UMouseEvent& event) override;
  void onMouseUp(const UMouseEvent& event) override;
  void onMouseLeave() override;
  void pointerOutside(const UMouseEvent& event) override;
  void closed() override;

private:
  struct KeyRow;
  static const KeyRow keyRows[];

  static UMenuWindow* openAt(const Ref<UMenuWindow>& window, UWindow* owner, const Rect& place);
  UMenuWindow& root();
  void moveOn(int32_t step);
  void goRight();
  void goLeft();
  void goBack();
  void activateCurrent();
  void notePointer(Point screen);

  Ref<UMenu> menu_;
  UMenuWindow* parent_;
  UMenuOpener* opener_;
  UMenuWindow* subWindow_ = nullptr; ///< clears itself when it closes
  UMenuView* view_ = nullptr;
  Point pressedAt_;       ///< where the pointer was when it opened
  bool hasMoved_ = false; ///< from there: a release chooses then
};

} // namespace orbi
