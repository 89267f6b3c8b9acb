#pragma once

#include "ui/views/control.h"

namespace orbi {

/// Parent of buttons of which one is on: its value is the place of that one among them.
class URadioGroup : public CmClass<URadioGroup, UControl> {
public:
  static constexpr const char* className = "URadioGroup";
  using CmClass::CmClass;

  /// The group that a view belongs to: its parent, when it is one.
  static URadioGroup* groupOf(const UView& view) { return castTo<URadioGroup>(view.parent()); }

  int32_t indexOf(const UView& member) const; ///< among its children; -1 when it isn't one
  bool isChosen(const UView& member) const;
  bool choose(const UView& member); ///< false when it is chosen already or can't be

  bool mouseDown(const UMouseEvent&) override { return false; } ///< its members' business
};

} // namespace orbi
