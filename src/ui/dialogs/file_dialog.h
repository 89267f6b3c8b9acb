#pragma once

#include "persist/file_dialog.h"
#include "platform/file_chooser.h"
#include "ui/views/windows.h"

namespace orbi {

/// Asks with the desktop's own file dialog where it has one, else with ours, in the folder where
/// the last file of that type was found; the settings keep it in the group "File Dialog" under the
/// type's code.
class UFileDialog final : public FFileDialog {
public:
  explicit UFileDialog(UWindow* owner = nullptr) : owner_(owner) {}
  std::optional<std::filesystem::path> ask(const FFileQuestion& question) override;

private:
  platform::FileChooserAnswer askDesktop(const FFileQuestion& question,
                                         const std::filesystem::path& folder);
  platform::FileChooserAnswer askHere(const FFileQuestion& question,
                                      const std::filesystem::path& folder);

  UWindow* owner_;
};

} // namespace orbi
