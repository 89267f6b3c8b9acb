#pragma once

#include "audio/device.h"
#include "foundation/object.h"
#include "foundation/realtime_memory.h"
#include "foundation/ref.h"
#include "host/midi_input.h"
#include "host/plugin_host.h"
#include "host/routing.h"

#include <atomic>
#include <memory>
#include <vector>

namespace orbi {

class FDefaultPool;

/// Optional observer of the process; none in this program.
class ProcessTap {
public:
  ORBI_REALTIME virtual void processed(float** outputs, int32_t count, int32_t frames) = 0;

protected:
  ~ProcessTap() = default;
};

/// The device's listener: one block of the device is one process call of the plug-in, whose outputs
/// go to the device's by the routing table. Nothing is buffered between them.
class OrbiPlayerAudioBridge final : public CmClass<OrbiPlayerAudioBridge, CmObject>,
                                    public LoomDeviceListener,
                                    public RealtimeObject {
public:
  static constexpr const char* className = "OrbiPlayerAudioBridge";

  /// Borrows the plug-in, the MIDI input (null for none) and the settings (null remembers nothing).
  OrbiPlayerAudioBridge(OrbPlugin& plugin, OrbiPlayerMidiInput* midiInput, FDefaultPool* settings);
  OrbiPlayerAudioBridge(const OrbiPlayerAudioBridge&) = delete;
  ~OrbiPlayerAudioBridge() override; ///< saves the settings

  static OrbiPlayerAudioBridge* instance() { return instance_; }

  // The device's listener
  void formatChanged(int32_t frames, double sampleRate) override;
  void driverReset(bool failed) override;
  void started() override;
  void stopped() override;
  ORBI_REALTIME void process() override;
  // Routing
  PluginRouting& outputs() { return *routing_; }
  void applyRouting(); ///< switches the device's pairs, restarts a running device
  void loadRouting();
  void saveRouting();
  void saveSettings(); ///< the driver's name and the routing

  OrbPlugin& plugin() { return plugin_; }
  int32_t blockFrames() const { return blockFrames_; }
  double sampleRate() const { return sampleRate_; }
  bool isInProcess() const { return inProcess_.load(std::memory_order_acquire); }
  void setTap(ProcessTap* tap) { tap_ = tap; } ///< while stopped
  /// A driver that this run was told to use: its name isn't stored, what was stored stays.
  void setRunDriver(std::string name) { runDriver_ = std::move(name); }

  int32_t handleMessage(FMessage& message) override; ///< "Idle"

private:
  struct EventListFree {
    void operator()(OrbEventList* list) const;
  };
  /// Buffers of one direction, and the pointers to them as the plug-in takes them.
  struct Buffers {
    std::vector<float> samples;
    std::vector<float*, RealtimeAllocator<float*>> pointers;
    size_t stride = 0; ///< frames
    void allocate(int32_t channels, int32_t frames);
    float* own(size_t channel) { return samples.data() + channel * stride; }
  };

  static std::unique_ptr<OrbEventList, EventListFree> makeEventList();
  ORBI_REALTIME void handOverEvents();
  ORBI_REALTIME void runPlugin(int32_t frames);
  ORBI_REALTIME void aimOutputs(LoomDevice& device);
  ORBI_REALTIME_SELDOM void clearOutputs(int32_t frames);
  ORBI_REALTIME void deliver(int32_t frames);

  static inline OrbiPlayerAudioBridge* instance_ = nullptr;

  OrbPlugin& plugin_;
  Ref<OrbPlugin> hungPlugin_; ///< the same, once it was abandoned
  OrbiPlayerMidiInput* midiInput_;
  FDefaultPool* settings_;
  std::unique_ptr<OrbEventList, EventListFree> eventList_;
  Buffers inputs_;
  Buffers outputs_;
  std::vector<float*, RealtimeAllocator<float*>>
      sumTargets_; ///< by output: where to add it after the block, or null; and two nulls
  Ref<PluginRouting> routing_;
  const AudioKernels& kernels_;
  ProcessTap* tap_ = nullptr;
  int32_t blockFrames_ = 0;
  double sampleRate_ = 44100.0;
  std::string runDriver_;
  std::atomic<bool> stopRequested_{false}; ///< nothing sets it; for a stop that would need it
  std::atomic<bool> inProcess_{false};
};

} // namespace orbi
