#pragma once

#include "ui/application.h"

#include <filesystem>

namespace orbi {

/// The framework's application: runs the start-up records around the steps that programs override.
class GApplication : public CmClass<GApplication, UApplication> {
public:
  static constexpr const char* className = "GApplication";

  explicit GApplication(const char* title) : CmClass(title) {}

  /// A file named on the command line; opened last, when the start is done.
  void setFileToOpen(std::filesystem::path file) { fileToOpen_ = std::move(file); }

protected:
  /// Initializers, afterStartup, menu bar. A false initializer, or a wish to stop before them, ends
  /// the start.
  void startup() override;
  bool enterRunState() override;
  virtual void afterStartup() { createMainWindow(); }
  virtual void buildMenuBar() {}
  virtual void createMainWindow() {}
  virtual bool openFile(const std::filesystem::path&) { return false; }
  virtual bool canQuit() { return true; }

private:
  std::filesystem::path fileToOpen_;
};

} // namespace orbi
