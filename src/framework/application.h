#pragma once

#include "ui/application.h"
#include "ui/menus/menu_bar.h"

#include <filesystem>

namespace orbi {

/// The framework's application: runs the start-up records around the steps that programs override.
class GApplication : public CmClass<GApplication, UApplication> {
public:
  static constexpr const char* className = "GApplication";

  explicit GApplication(const char* title) : CmClass(title) {}

  /// A file named on the command line; opened last, when the start is done.
  void setFileToOpen(std::filesystem::path file) { fileToOpen_ = std::move(file); }

  UMenuBar* menuBar() const { return menuBar_.get(); } ///< of the main window; null for none

  // A file that the user drags onto a window
  virtual bool opensDroppedFile(const std::filesystem::path&) const { return false; } ///< its kind
  void openDroppedFile(std::filesystem::path file); ///< as a file to open, on the next pass

  /// "MenuSelect" of the entries that every program has, "Open Dropped".
  int32_t handleMessage(FMessage& message) override;
  static constexpr int32_t quitTag = 7;
  static constexpr int32_t aboutTag = 16;

protected:
  /// Initializers, afterStartup, menu bar. A false initializer, or a wish to stop before them, ends
  /// the start.
  void startup() override;
  bool enterRunState() override;
  virtual void afterStartup() { createMainWindow(); }
  virtual void buildMenuBar() {}
  void setMenuBar(Ref<UMenuBar> bar) { menuBar_ = std::move(bar); }
  virtual void showAbout() {}
  virtual void createMainWindow() {}
  virtual bool openFile(const std::filesystem::path&) { return false; }
  virtual void givenFileOpened(bool) {} ///< the one of setFileToOpen, or it could not be
  virtual bool canQuit() { return true; }

private:
  std::filesystem::path fileToOpen_;
  std::filesystem::path droppedFile_; // until it is opened
  Ref<UMenuBar> menuBar_;
};

} // namespace orbi
