#pragma once

#include "host/plugin.h"

#include <array>
#include <filesystem>
#include <string>
#include <vector>

namespace orbi {

/// Finds the modules of this program, opens and closes plug-ins and answers their questions. One
/// for the process.
class OrbPluginHost final : public CmClass<OrbPluginHost, CmObject> {
public:
  static constexpr const char* className = "OrbPluginHost";
  static constexpr int32_t maxModules = 1024;
  static constexpr int32_t maxOpen = 1024;

  enum class Search { besideProgram, byName };
  /// Beside the program: the module of the executable's own name. By name: a module of that name in
  /// the folder of a sibling product.
  OrbPluginHost(const std::filesystem::path& executable, Search search = Search::besideProgram,
                const char* name = nullptr);
  OrbPluginHost(const OrbPluginHost&) = delete;
  ~OrbPluginHost() override;

  static OrbPluginHost* instance() { return instance_; }

  // Modules
  int32_t moduleCount() const { return static_cast<int32_t>(modules_.size()); }
  const std::string& moduleName(int32_t index) const { return modules_[size_t(index)].name; }
  int32_t moduleInputs(int32_t index) const { return modules_[size_t(index)].inputs; }
  int32_t moduleOutputs(int32_t index) const { return modules_[size_t(index)].outputs; }
  int32_t moduleParams(int32_t index) const { return modules_[size_t(index)].params; }
  const std::filesystem::path& directory() const { return directory_; }
  /// The file name under which the program's module is looked for, without its folder.
  std::string expectedModuleName() const;

  // Plug-ins
  OrbPlugin* loadPlugin(int32_t moduleIndex); ///< null on any failure, which leaves nothing open
  bool unloadPlugin(OrbPlugin* plugin);       ///< false for one that isn't open here
  void unloadAll();
  int32_t openCount() const { return static_cast<int32_t>(openPlugins_.size()); }
  OrbPlugin* openPlugin(int32_t index) const { return openPlugins_[size_t(index)]; }

  // Editors
  /// The plug-in's editor in a window of its own, or that one in front; false when it has none or
  /// there is no display.
  bool openEditor(OrbPlugin& plugin);
  void closeEditor(OrbPlugin& plugin);

  // Time, for the plug-in
  /// A rate below 16000 and a tempo below 10 are passed over.
  void setTimeBase(double sampleRate, double tempo, int32_t numerator, int32_t denominator);
  /// Before each block. -1.0 as nanoSeconds: not known; as musicalPosition: counted from the
  /// samples.
  ORBI_REALTIME void updateTime(double samplePosition, double nanoSeconds, double musicalPosition,
                                bool playing);
  const OrbTimeBlock& timeBlock() const { return timeBlock_; }

  /// The file that is now being read or written, for the plug-in's question; null otherwise.
  const std::filesystem::path* chunkFilePath = nullptr;

  /// What a plug-in calls. Any thread.
  static int64_t callback(OrbEffect* effect, int32_t opcode, int32_t index, int64_t value,
                          void* ptr, float opt);

  static inline bool hybridMode = false; ///< never set: the mode has no connection of its own

  /// The folder in a command that removes a product: from the second character, up to the last
  /// backslash before ".exe". Empty when the text has no such form.
  static std::string folderOfCommand(const std::string& command);

private:
  struct ModuleEntry {
    std::string name; ///< file name
    int32_t inputs = 0;
    int32_t outputs = 0;
    int32_t params = 0;
  };

  void findBeside();
  void findByName(const char* name);
  std::filesystem::path modulePath(const std::string& name) const;
  OrbPlugin* findPlugin(const OrbEffect* effect) const;
  int64_t answer(OrbPlugin* plugin, int32_t opcode, int64_t value, void* ptr);
  int64_t answerChunkFile(void* ptr) const;

  static OrbPluginHost* instance_;

  std::filesystem::path executable_;
  std::filesystem::path directory_;
  std::vector<ModuleEntry> modules_;
  std::vector<OrbPlugin*> openPlugins_;
  OrbPlugin* loading_ = nullptr; ///< its entry was called, it isn't in the list yet
  std::atomic<bool> needsIdle_{false};
  // For the process: a plug-in that outlived its unloading may still look at it.
  alignas(64) static OrbTimeBlock timeBlock_;
};

} // namespace orbi
