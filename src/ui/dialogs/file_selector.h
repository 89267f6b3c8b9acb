#pragma once

#include "persist/file_dialog.h"
#include "ui/values/int_value.h"
#include "ui/views/basic/label.h"
#include "ui/views/basic/list_box.h"
#include "ui/views/basic/text_edit.h"
#include "ui/views/windows.h"

#include <filesystem>
#include <string>
#include <vector>

namespace orbi {

/// The folder itself, or the nearest above it that is there.
std::filesystem::path existingFolder(std::filesystem::path folder);

/// With the extension at its end, in whatever case, unless that is empty.
std::filesystem::path withExtension(std::filesystem::path path, const std::string& extension);

/// Modal dialog over the folders of the system: a path that can be typed, the entries of a folder,
/// and a file's name.
class UFileSelector final : public CmClass<UFileSelector, UModalDialog> {
public:
  static constexpr const char* className = "UFileSelector";

  UFileSelector(const FFileQuestion& question, std::filesystem::path folder);

  const std::filesystem::path& chosen() const { return chosen_; } ///< when it was accepted
  bool canEnd(int32_t result) override; ///< asks before a file is overwritten
  /// Backspace and Alt with Up go to the folder above, Alt with Home to the user's own.
  bool keyDown(const UKeyCode& key) override;

private:
  struct Entry {
    std::string name; ///< as the system has it, which may not be UTF-8
    bool isFolder;
  };
  static bool comesBefore(const Entry& a, const Entry& b);
  bool listFolder(const std::filesystem::path& folder, std::vector<Entry>& entries) const;

  void addPath(UView& ground);
  void addList(UView& ground);
  void addName(UView& ground);
  void addButtons(UView& ground);
  void goTo(std::filesystem::path folder);
  void goUp() { goTo(folder_.parent_path()); }
  void pathEntered();
  void selectionChanged(int32_t index);
  void activate(int32_t index);
  void accept();
  std::filesystem::path typedPath() const;
  bool showsAll() const { return showsAll_.getValue() != 0; }

  // A new folder's name is asked for in a line above the list
  void askFolderName();
  void showFolderEdit(bool shows);
  void makeFolder();

  const bool saves_;
  const std::string extension_;
  const std::string kind_; ///< what files are shown, for the reader
  std::filesystem::path folder_;
  std::filesystem::path chosen_;
  std::vector<Entry> entries_;
  UIntValue showsAll_{0, 0, 1}; ///< files of any type
  UTextEdit* pathEdit_ = nullptr;
  UTextEdit* folderEdit_ = nullptr;
  UListBox* list_ = nullptr;
  UTextEdit* nameEdit_ = nullptr;
  ULabel* trouble_ = nullptr;
};

} // namespace orbi
