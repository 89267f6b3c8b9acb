#pragma once

#include "ui/values/float_value.h"
#include "ui/views/basic/label.h"
#include "ui/views/basic/progress_bar.h"
#include "ui/views/windows.h"

namespace orbi {

/// Tells how far a long piece of work on the main thread has come. Whoever works opens it, calls
/// `step` now and then, and closes it.
class UProgressDialog : public CmClass<UProgressDialog, UModalDialog> {
public:
  static constexpr const char* className = "UProgressDialog";

  explicit UProgressDialog(std::string_view title = {}, bool canCancel = true);

  bool begin(UWindow* owner = nullptr); ///< opens it in the middle of its owner
  void setText(std::string_view text);
  /// Shows the share of the work that is done, 0 to 1, and lets events that wait have their turn;
  /// false once the user wants it to stop.
  bool step(double share);
  bool isCancelled() const { return hasEnded(); }
  bool canClose() override { return canCancel_ && UModalDialog::canClose(); }

private:
  bool canCancel_;
  int64_t shownAt_ = 0; ///< nanoseconds
  UFloatValue progress_{0, 0, 1};
  ULabel* text_ = nullptr;
};

/// Says what the program is.
class UAboutDialog : public CmClass<UAboutDialog, UModalDialog> {
public:
  static constexpr const char* className = "UAboutDialog";

  explicit UAboutDialog(std::string_view name = {}, std::string_view version = {},
                        std::string_view text = {});
};

} // namespace orbi
