#pragma once

#include "ui/views/windows.h"

#include <memory>

namespace orbi {

class OrbPlugin;

/// The main window of the program: below its menu bar a native child window in which the plug-in
/// draws. Hands idle time, keys and wheel turns to the plug-in. Its end is the program's.
class OrbPlugEditorWind final : public CmClass<OrbPlugEditorWind, UDocWindow> {
public:
  static constexpr const char* className = "OrbPlugEditorWind";
  static constexpr uint32_t editorStyle = 218; ///< title, minimize; not sizable

  /// The editor's size is in pixels of the screen; the plug-in is borrowed.
  OrbPlugEditorWind(OrbPlugin& plugin, Point origin, Size editor, std::string_view title);
  ~OrbPlugEditorWind() override;

  OrbPlugin* plugin() const { return plugin_; }
  /// Nothing more of the plug-in is called; the child goes.
  void releasePlugin();

  bool open(UWindow* owner, Stored stored) override; ///< at no stored size
  void made() override;                              ///< the child, with the editor in it
  bool keyDown(const UKeyCode& key) override;
  void idle() override;
  void scaleChanged() override; ///< the plug-in's size in pixels stays
  bool takesFiles(std::span<const std::filesystem::path> files) const override;
  bool filesDropped(const std::vector<std::filesystem::path>& files, Point where) override;
  bool canClose() override;
  void closed() override;
  void draw(Canvas& canvas, const Rect& damage) override;
  int32_t handleMessage(FMessage& message) override; ///< "Wheel"

private:
  OrbPlugin* plugin_;
  Size editor_;
  std::unique_ptr<platform::ChildWindow> child_;
};

} // namespace orbi
