#pragma once

#include "persist/file_dialog.h"
#include "ui/views/basic/label.h"
#include "ui/views/basic/list_box.h"
#include "ui/views/basic/text_edit.h"
#include "ui/views/windows.h"

#include <filesystem>
#include <string>
#include <vector>

namespace orbi {

/// What a folder shows in a file dialog.
struct UFolderEntry {
  std::string name; ///< as the system has it, which may not be UTF-8
  bool isFolder = false;
};

/// Folders first, both in the order of a reader; hidden ones left out. Of files only those with the
/// extension, in any case; empty for all. False when the folder can't be read.
bool listFolder(const std::filesystem::path& folder, std::string_view extension,
                std::vector<UFolderEntry>& entries);

/// Modal dialog over the folders of the system: a path that can be typed, the entries of a folder,
/// and a file's name.
class UFileSelector final : public CmClass<UFileSelector, UModalDialog> {
public:
  static constexpr const char* className = "UFileSelector";

  UFileSelector(const FFileQuestion& question, std::filesystem::path folder);

  const std::filesystem::path& folder() const { return folder_; }
  const std::filesystem::path& chosen() const { return chosen_; } ///< when it was accepted
  bool canEnd(int32_t result) override;       ///< asks before a file is overwritten
  bool keyDown(const UKeyCode& key) override; ///< Backspace and Alt with Up go to the folder above

private:
  void addViews(const FFileQuestion& question);
  void goTo(std::filesystem::path folder);
  void goUp() { goTo(folder_.parent_path()); }
  void pathEntered();
  void selectionChanged(int32_t index);
  void activate(int32_t index);
  void accept();
  std::filesystem::path typedPath() const;
  bool mayReplace(const std::filesystem::path& path);
  bool saves() const { return saves_; }

  const bool saves_;
  const std::string extension_;
  const std::string kind_; ///< what files are shown, for the reader
  std::filesystem::path folder_;
  std::filesystem::path chosen_;
  std::vector<UFolderEntry> entries_;
  UTextEdit* pathEdit_ = nullptr;
  UListBox* list_ = nullptr;
  UTextEdit* nameEdit_ = nullptr;
  ULabel* trouble_ = nullptr;
};

/// Asks with a window, in the folder where the last file of that type was found; the settings keep
/// it in the group "File Dialog" under the type's code.
class UFileDialog final : public FFileDialog {
public:
  explicit UFileDialog(UWindow* owner = nullptr) : owner_(owner) {}
  std::optional<std::filesystem::path> ask(const FFileQuestion& question) override;

private:
  UWindow* owner_;
};

} // namespace orbi
