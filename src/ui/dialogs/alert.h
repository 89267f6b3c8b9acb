#pragma once

#include "persist/object_files.h"
#include "platform/message_box.h"
#include "ui/views/windows.h"

#include <string>
#include <string_view>
#include <vector>

namespace orbi {

/// A question with some buttons, or words with one. Modal. The first button is the default one;
/// Escape and the close box answer as the last one does.
class UAlert final : public CmClass<UAlert, UModalDialog> {
public:
  static constexpr const char* className = "UAlert";

  /// The buttons' texts are keys of the translation; the text is shown as it is.
  UAlert(std::string_view text, const std::vector<const char*>& buttons);

  /// The place of the button that was pressed. Without a display, or when the program quits
  /// meanwhile, the last one's.
  static int32_t ask(std::string_view text, const std::vector<const char*>& buttons,
                     UWindow* owner = nullptr);
  static void show(std::string_view text, UWindow* owner = nullptr); ///< a line without a display
  /// Whether the program, or the window of that title, is to be left.
  static bool askToQuit(std::string_view title, UWindow* owner = nullptr);
};

/// Asks with an alert.
class UReplaceQuestion final : public FReplaceQuestion {
public:
  explicit UReplaceQuestion(UWindow* owner = nullptr) : owner_(owner) {}
  bool mayReplace(const std::string& question) override;

private:
  UWindow* owner_;
};

/// Message boxes as windows; in a run without a display they go where the other one shows them.
class UMessageBoxes final : public platform::MessageBox {
public:
  explicit UMessageBoxes(platform::MessageBox& without) : without_(without) {}
  void show(std::string_view title, std::string_view text) override;

private:
  platform::MessageBox& without_;
};

} // namespace orbi
