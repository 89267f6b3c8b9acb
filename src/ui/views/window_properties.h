#pragma once

#include "ui/values/float_value.h"
#include "ui/values/string_value.h"

#include <array>

namespace orbi {

class UWindow;

/// What scripts and skins know of a window by name. Setting one acts on the window; what happens to
/// the window shows in them.
class UWindowProperties {
public:
  explicit UWindowProperties(UWindow& window);

  UValue* find(std::string_view name); ///< by the whole name; null for others
  void apply(const CmObject* value);   ///< that was set, to the window
  void show();                         ///< the window as it is

private:
  struct Row;
  static const std::array<Row, 5> rows;

  UWindow& window_;
  UValue minimize_;
  UValue maximize_;
  UValue close_;
  UStringValue title_;
  UFloatValue opacity_{1, 0, 1};
};

} // namespace orbi
