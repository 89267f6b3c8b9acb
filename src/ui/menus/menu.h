#pragma once

#include "foundation/ref.h"
#include "foundation/string.h"
#include "ui/views/key_code.h"

#include <span>
#include <string>
#include <vector>

namespace orbi {

class UMenu;

/// An entry of a menu.
class UMenuItem final : public CmClass<UMenuItem, CmObject> {
public:
  static constexpr const char* className = "UMenuItem";
  static constexpr std::string_view separatorTitle = "~-~";

  explicit UMenuItem(std::string_view title = separatorTitle, int32_t tag = 0, UKeyCode key = {},
                     std::string_view name = {});
  UMenuItem(const UMenuItem&) = delete;
  ~UMenuItem() override;

  const CmString& title() const { return title_; }
  void setTitle(std::string_view title) { title_.set(title); }
  int32_t tag() const { return tag_; }
  const UKeyCode& key() const { return key_; } ///< that chooses it, also while no menu is open
  const CmString& name() const { return name_; }
  bool isSeparator() const { return title_ == separatorTitle; }
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled) { enabled_ = enabled; }
  bool isTicked() const { return ticked_; }
  void setTicked(bool ticked) { ticked_ = ticked; }
  bool canBeChosen() const { return enabled_ && !isSeparator(); }
  UMenu* subMenu() const { return subMenu_.get(); } ///< null for none

private:
  friend class UMenu;
  CmString title_;
  int32_t tag_;
  UKeyCode key_;
  CmString name_;
  bool enabled_ = true;
  bool ticked_ = false;
  Ref<UMenu> subMenu_;
};

/// A list of entries, of which the user chooses one. Its target, else the application, is asked
/// "MenuCanSelect" for each entry before it opens, with "Tag" and "MenuItem", and may set the
/// entry's state; it is sent "MenuSelect" for the chosen one when the menu has closed. Main thread.
class UMenu final : public CmClass<UMenu, CmObject> {
public:
  static constexpr const char* className = "UMenu";

  enum Style : uint32_t { stylePlacesItems = 1u << 6 }; ///< the framework may put entries on it

  /// The name is for those who look for it, whatever the language of the title.
  explicit UMenu(std::string_view title = {}, std::string_view name = {})
      : title_(title), name_(name)
  {
  }
  UMenu(const UMenu&) = delete;

  const CmString& title() const { return title_; }
  const CmString& name() const { return name_; }
  uint32_t style() const { return style_; }
  void setStyle(uint32_t style) { style_ = style; }
  CmObject* target() const { return target_; } ///< null: the application
  /// Borrowed, unless it is kept as well: one that may go while the menu is open.
  void setTarget(CmObject* target) { target_ = target; }
  void keepTarget() { kept_ = Ref<CmObject>::share(target_); }

  // Entries
  UMenuItem& add(std::string_view title, int32_t tag, UKeyCode key = {},
                 std::string_view name = {});
  UMenuItem& addSeparator();
  UMenuItem& addMenu(Ref<UMenu> menu);
  UMenuItem& insert(size_t index, Ref<UMenuItem> item); ///< beyond the end: at the end
  std::span<const Ref<UMenuItem>> items() const { return items_; }
  size_t indexOf(int32_t tag) const; ///< the number of entries for none
  UMenuItem* find(int32_t tag) const;

  /// Replaces titles, which are keys of the translation, by their texts; once.
  void translate();

  // Use
  void prepare();               ///< asks for the state of each entry
  bool choose(UMenuItem& item); ///< false when it can't be chosen at the moment
  /// The entry of this key, in sub-menus as well; false without one that can be chosen.
  bool chooseByKey(const UKeyCode& key);

private:
  int32_t tell(const char* id, UMenuItem& item) const;
  CmObject* receiver() const;

  CmString title_;
  CmString name_;
  uint32_t style_ = 0;
  CmObject* target_ = nullptr;
  Ref<CmObject> kept_;
  bool isTranslated_ = false;
  std::vector<Ref<UMenuItem>> items_;
};

} // namespace orbi
