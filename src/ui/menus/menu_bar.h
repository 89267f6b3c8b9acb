#pragma once

#include "ui/menus/menu_window.h"

#include <optional>

namespace orbi {

/// The menus at the top of a window. Alt with a title's first letter opens its menu, Alt by itself
/// or F10 begins at the first one; the keys of entries work whether a menu is open or not.
class UMenuBar final : public CmClass<UMenuBar, UView>, private UMenuOpener {
public:
  static constexpr const char* className = "UMenuBar";
  static constexpr int32_t barHeight = 24;

  UMenuBar();
  UMenuBar(const UMenuBar&) = delete;
  ~UMenuBar() override;

  UMenu& add(Ref<UMenu> menu); ///< behind the others
  std::span<const Ref<UMenu>> menus() const { return menus_; }
  UMenu* findMenu(std::string_view name) const; ///< by its internal name; null for none

  bool openMenu(size_t index); ///< false when there is nothing in it, or no display
  void closeMenu();
  bool isMenuOpen() const { return window_ != nullptr; }
  std::optional<size_t> current() const { return current_; } ///< that is open or about to be
  Rect titleRect(size_t index) const;

  void draw(Canvas& canvas, const Rect& damage) override;
  bool mouseDown(const UMouseEvent& event) override;
  void mouseMoved(const UMouseEvent& event) override;
  void mouseLeft() override;
  bool keyDown(const UKeyCode& key) override;
  bool keyUp(const UKeyCode& key) override;
  void attached() override; ///< its titles are translated, if they weren't yet
  void detached() override;

private:
  void openNeighbour(int32_t step) override;
  bool pointerMovedTo(Point screen) override;
  void menuClosed() override;

  void setCurrent(std::optional<size_t> index);
  std::optional<size_t> titleAt(Point where) const;
  std::optional<size_t> titleBy(char32_t letter) const;
  bool walk(const UKeyCode& key);
  void begin(); ///< to walk by keys
  void stop();

  std::vector<Ref<UMenu>> menus_;
  std::optional<size_t> current_;
  std::optional<size_t> hover_;
  UMenuWindow* window_ = nullptr; ///< the open menu; forgotten when it closes
  bool walking_ = false;          ///< by keys, with no menu open
  int64_t clickedAt_ = 0;         ///< the last press before that
};

} // namespace orbi
