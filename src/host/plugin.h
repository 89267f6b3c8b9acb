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

class FFileDialog;
class FStream;
class OrbPlugEditorWind;
class ProgramReader;
class ProgramWriter;
struct ProgramFileKind;

/// One open plug-in; all calls into it go through here. Faults of the plug-in are caught at the
/// call, which then counts as failed; after one on the audio thread nothing of it is called any
/// more, and every call is answered as by an empty one. process and processEvents belong to the
/// audio thread, the rest to the main thread.
class OrbPlugin final : public CmClass<OrbPlugin, CmObject>, public RealtimeObject {
public:
  static constexpr const char* className = "OrbPlugin";
  static constexpr size_t nameBytes = 64;
  static constexpr int32_t maxChannels = 1024; ///< a plug-in that claims more isn't loaded
  // One that claims more of these plays, and isn't saved
  static constexpr int32_t maxParams = 1000000;
  static constexpr int32_t maxPrograms = 100000;

  OrbPlugin(const std::string& moduleName, int32_t moduleIndex);
  OrbPlugin(const OrbPlugin&) = delete;
  ~OrbPlugin() override; ///< leaves the idle list, frees the library

  static OrbPlugin* current() { return current_; } ///< the program's one plug-in
  static void setCurrent(OrbPlugin* plugin) { current_ = plugin; }

  // Life, for the host
  bool load(const std::filesystem::path& module, OrbHostCallback callback);
  /// What load does with the module's entry; the plug-in may as well lie in the program itself.
  bool enter(OrbPluginEntry entry, OrbHostCallback callback);
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
  int32_t numPrograms() const; ///< likewise, at most maxPrograms
  int32_t numParams() const;
  bool hasCredibleCounts() const; ///< neither of the two is more than the most
  int32_t uniqueId() const { return effect_ ? effect_->uniqueId : 0; }
  int32_t version() const { return effect_ ? effect_->version : 0; }
  bool takesChunks() const { return effect_ && (effect_->flags & orbProgramChunks); }
  bool canReplace() const { return effect_ && (effect_->flags & orbHasReplacing); }
  bool canDo(const char* text);
  std::string productString();    ///< empty when the plug-in tells none
  bool editorRect(OrbRect& rect); ///< in pixels; false when it has no editor

  // Calls
  /// 0 without an effect, and when the plug-in faults or did so in a block.
  int64_t dispatch(int32_t opcode, int32_t index = 0, int64_t value = 0, void* ptr = nullptr,
                   float opt = 0.0f);
  void setProgram(int32_t program);              ///< nothing outside of 0...numPrograms - 1
  void setParameter(int32_t index, float value); ///< the index isn't looked at
  float parameter(int32_t index);                ///< 0 when the plug-in faults
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

  // Programs and banks on a stream, which is switched to the files' byte order. What isn't the
  // whole of what was there leaves a reason in fileFault
  bool writeProgram(FStream& stream); ///< false when a byte or a chunk is missing
  bool writeBank(FStream& stream);    ///< likewise
  /// 1 when there was a program that the plug-in may hear of, else 0. A foreign one is passed over;
  /// in the form of a chunk that is a 1 as well.
  int32_t readProgram(FStream& stream);
  /// 1 for a bank, also when it was refused as a chunk or ends at a program that isn't taken; else,
  /// as when it is cut short, 0, behind the bank where the stream tells its size.
  int32_t readBank(FStream& stream);

  // And in files that the dialog names. 0: cancelled, or nothing done; -1: the file can't be
  // opened; 1: done. A file that can't be written whole stays as it was
  int32_t savePlugProgramFile(FFileDialog& dialog);
  int32_t loadProgramFile(FFileDialog& dialog);
  int32_t saveBankFile(FFileDialog& dialog); ///< nothing when there are no programs
  int32_t loadBankFile(FFileDialog& dialog);
  /// Why the last one of these didn't do all that it was asked for; null when it did.
  const char* fileFault() const { return fileFault_; }
  /// How many calls of the main thread faulted so far.
  uint32_t faultCount() const { return faultCount_; }

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
  bool mayBeAsked();
  bool writeAs(const ProgramFileKind& kind, FStream& stream);
  int32_t readAs(const ProgramFileKind& kind, FStream& stream);
  int32_t saveFile(FFileDialog& dialog, const ProgramFileKind& kind);
  int32_t loadFile(FFileDialog& dialog, const ProgramFileKind& kind);
  ORBI_REALTIME bool runForAudio(void (*call)(void*), void* context);

  static inline OrbPlugin* current_ = nullptr;

  platform::Module module_;
  OrbEffect* effect_ = nullptr;
  std::string name_;
  int32_t moduleIndex_;
  bool suspended_ = true;
  bool keepsLibrary_ = false;
  uint32_t faultCount_ = 0;
  const char* fileFault_ = nullptr;
  std::atomic<bool> abandoned_{false};
  std::atomic<bool> faulted_{false}; ///< processing faulted: it isn't called any more
};

} // namespace orbi
