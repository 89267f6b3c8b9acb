#pragma once

#include "foundation/object.h"
#include "foundation/realtime_memory.h"
#include "platform/module.h"
#include "platform/realtime_layout.h"

#include "orb/orb.h"

#include <atomic>
#include <filesystem>
#include <string>

namespace orbi {

class OrbPlugEditorWind;

/// One open plug-in; all calls into it go through here. Faults of the plug-in are caught at the
/// call, which then counts as failed. process and processEvents belong to the audio thread, the
/// rest to the main thread.
class OrbPlugin final : public CmClass<OrbPlugin, CmObject>, public RealtimeObject {
public:
  static constexpr const char* className = "OrbPlugin";
  static constexpr size_t nameBytes = 64;
  static constexpr int32_t maxChannels = 1024; ///< a plug-in that claims more isn't loaded

  OrbPlugin(const std::string& moduleName, int32_t moduleIndex);
  OrbPlugin(const OrbPlugin&) = delete;
  ~OrbPlugin() override; ///< leaves the idle list, frees the library

  static OrbPlugin* current() { return current_; } ///< the program's one plug-in
  static void setCurrent(OrbPlugin* plugin) { current_ = plugin; }

  // Life, for the host
  bool load(const std::filesystem::path& module, OrbHostCallback callback);
  bool open();  ///< opOpen, first rate and block size, what it can do; false when it faults
  void close(); ///< opClose
  /// A call didn't come back: from here on nothing of it is called and its library stays.
  void abandon();
  bool isAbandoned() const { return abandoned_.load(std::memory_order_relaxed); }

  // What it is
  const std::string& name() const { return name_; }
  int32_t moduleIndex() const { return moduleIndex_; }
  int32_t openIndex = -1; ///< place in the host's list
  OrbEffect* effect() const { return effect_; }
  int32_t numInputs() const; ///< as they are now, at most maxChannels
  int32_t numOutputs() const;
  int32_t numPrograms() const { return effect_ ? effect_->numPrograms : 0; }
  int32_t numParams() const { return effect_ ? effect_->numParams : 0; }
  bool canReplace() const { return effect_ && (effect_->flags & orbHasReplacing); }
  bool canDo(const char* text);
  std::string productString(); ///< empty when the plug-in tells none

  // Calls
  /// 0 without an effect, and when the plug-in faults.
  int64_t dispatch(int32_t opcode, int32_t index = 0, int64_t value = 0, void* ptr = nullptr,
                   float opt = 0.0f);
  void setProgram(int32_t program); ///< nothing outside of 0...numPrograms - 1
  int32_t
  programName(std::string& out); ///< its length without white space at the ends, -1 for none
  std::string outputName(int32_t output);
  bool outputIsStereo(int32_t output);
  int32_t outputChannelCount(int32_t output);
  /// Label of one channel of an output; an unknown arrangement leaves it as it was.
  void outputChannelLabel(int32_t output, int32_t channel, std::string& out);
  void setSampleRate(float rate);
  void setBlockSize(int32_t frames);
  void resume(); ///< switches it on, when it is off
  void suspend();
  bool isSuspended() const { return suspended_; }

  // The audio thread. False: it faulted, now or before, and the buffers mean nothing
  ORBI_REALTIME bool processEvents(OrbEventList* events);
  ORBI_REALTIME bool processReplacing(float** inputs, float** outputs, int32_t frames);
  ORBI_REALTIME_SELDOM bool processAccumulating(float** inputs, float** outputs, int32_t frames);
  bool hasFaulted() const { return faulted_.load(std::memory_order_relaxed); }

  // Told by the plug-in on any thread, read on the main thread
  std::atomic<bool> receivesMidi{false};
  std::atomic<bool> needsIdle{false};

  OrbPlugEditorWind* editorWindow = nullptr;
  void* editorChild = nullptr; ///< native window in which the plug-in draws

  int32_t handleMessage(FMessage& message) override; ///< "Idle"

private:
  bool outputProperties(int32_t output, OrbOutputProperties& properties);
  template <class Call>
  bool guard(Call&& call);
  ORBI_REALTIME bool runForAudio(void (*call)(void*), void* context);

  static inline OrbPlugin* current_ = nullptr;

  platform::Module module_;
  OrbEffect* effect_ = nullptr;
  std::string name_;
  int32_t moduleIndex_;
  bool suspended_ = true;
  bool keepsLibrary_ = false;
  std::atomic<bool> abandoned_{false};
  std::atomic<bool> faulted_{false}; ///< processing faulted: it isn't called for audio any more
};

} // namespace orbi
