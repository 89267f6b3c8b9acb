#pragma once

#include "audio/channel.h"
#include "audio/device_listener.h"
#include "audio/driver_list.h"
#include "audio/realtime_worker.h"
#include "foundation/realtime_memory.h"

#include <atomic>
#include <memory>
#include <vector>

namespace orbi {

inline constexpr const char* defaultDriverName = "LOOM Multimedia Driver";

/// Takes the driver's blocks and turns the listener's floats into the driver's samples. Only
/// outputs are ever active. One per process: the driver's callbacks are plain functions and find it
/// through instance().
class LoomDevice final : public RealtimeWorker, public RealtimeObject {
public:
  /// Drivers past the first 64 can be neither named nor selected.
  static constexpr int32_t maxNamedDrivers = 64;

  enum class Open { nothing, defaultDriver };
  LoomDevice(LoomDeviceListener* listener, std::unique_ptr<LoomDriverList> drivers,
             Open open = Open::nothing);
  ~LoomDevice() override;

  static LoomDevice* instance() { return instance_; }

  void setListener(LoomDeviceListener* listener) { listener_ = listener; } ///< while stopped
  LoomDeviceListener* listener() const { return listener_; }
  void setMeter(BlockMeter* meter) { meter_ = meter; } ///< while stopped; null for none
  /// Called on any thread when the driver wants a reset, which checkReset then carries out. Null
  /// for none; while closed.
  void setWakeUp(void (*wakeUp)()) { wakeUp_ = wakeUp; }

  // Drivers
  int32_t driverCount() const { return drivers_->count(); }
  int32_t selectedIndex() const { return drivers_->selectedIndex(); } ///< -1 for none
  /// The name of a driver, of the selected one for an index below 0; false leaves it empty.
  bool driverName(char (&out)[LoomDriverList::nameLimit], int32_t index = -1) const;
  int32_t findDriver(const char* name) const; ///< -1 for none
  /// Closes the former driver and opens this one. True may also mean that another driver had to be
  /// taken, since this one couldn't be made.
  bool selectDriver(int32_t index);
  bool showControlPanel();
  const char* errorMessage() const { return info_.errorMessage; } ///< of the last failure
  bool hasStopFailed() const { return stopFailed_; } ///< what was played last is incomplete

  // Channels, in stereo pairs
  int32_t inputCount() const { return inputCount_; }
  int32_t outputCount() const { return outputCount_; }
  bool outputName(char (&out)[loomNameBytes], int32_t index) const;
  bool setOutputActive(int32_t index, bool on); ///< restarts a running device
  bool isOutputActive(int32_t index) const;
  /// The block to fill, of the half in use; null when inactive.
  float* outputBuffer(int32_t index)
  {
    if (static_cast<uint32_t>(index) >= loomMaxChannels || !outputs_[size_t(index)].active)
      return nullptr;
    return outputs_[size_t(index)].floatBuffer[activeHalf_.load(std::memory_order_relaxed)];
  }

  // Running
  bool start() override; ///< whether it runs now
  void stop() override;  ///< returns after the driver has called for the last time
  bool isRunning() const { return running_; }
  bool isOpened() const { return opened_; }
  /// A block didn't return within the time that a stop waits. It may do so yet: until then the
  /// device, its listener and all that this one uses must not be destroyed.
  bool isHung() const { return hung_; }
  void checkReset(); ///< main thread, from idle: carries out a reset that the driver asked for
  bool reset();
  /// For the listener, in process: the block under way is the last one that the driver plays.
  void finishAfterThisBlock() { loom::stop(); }

  double sampleRate() const { return sampleRate_.load(std::memory_order_relaxed); }
  int32_t blockFrames() const { return blockFrames_; }
  double samplePosition() const { return samplePosition_.load(std::memory_order_relaxed); }
  double timeStamp() const { return timeStamp_.load(std::memory_order_relaxed); }
  uint64_t lostBlocks() const { return lostBlocks_.load(std::memory_order_relaxed); }

  /// What a driver is given; the test of a driver's behaviour and the benchmarks call them, too.
  static const LoomCallbacks& callbacks() { return callbacks_; }

private:
  // Opening
  bool open();
  void close();
  bool readChannelCounts();
  bool readBufferSize();
  void readSampleRate();
  bool selectAny(const char* wanted, const char* former, std::string& failure);

  // Buffers
  bool createBuffers();
  void enterChannels(const LoomChannelTable& table, int32_t count, int32_t isInput,
                     std::vector<LoomBufferInfo>& infos) const;
  void takeBuffers(LoomChannelTable& table, int32_t count, int32_t isInput,
                   const LoomBufferInfo*& next);
  void freeBuffers();
  bool waitForDirectBlock() const;
  void abandonDriver();
  void keepErrorMessage();

  // The driver's thread and the worker
  ORBI_REALTIME_SELDOM static void bufferSwitch(int32_t half, int32_t direct);
  static void rateChanged(double rate);
  static int32_t driverMessage(int32_t selector, int32_t value, ...);
  ORBI_REALTIME static LoomTimeRecord* bufferSwitchTimeInfo(LoomTimeRecord* time, int32_t half,
                                                            int32_t direct);
  ORBI_REALTIME void switchBuffers(int32_t half, int32_t direct);
  ORBI_REALTIME void fillBlock();
  ORBI_REALTIME void finishBlock();
  ORBI_REALTIME void convert();
  void run() override;

  static const LoomCallbacks callbacks_;
  static LoomDevice* instance_;

  // What each block touches comes first and lies together.
  LoomDeviceListener* listener_;
  BlockMeter* meter_ = nullptr;
  int32_t blockFrames_ = 0;
  int32_t inputCount_ = 0;
  int32_t outputCount_ = 0;
  bool opened_ = false;
  bool running_ = false;
  bool buffersCreated_ = false;
  bool usesOutputReady_ = false;
  bool stopFailed_ = false;
  bool hung_ = false; ///< a thread didn't come back from a block

  // What crosses threads without a lock: single words of which either value will do, hence relaxed.
  std::atomic<double> sampleRate_{44100.0};
  std::atomic<double> samplePosition_{0.0};
  std::atomic<double> timeStamp_{0.0};
  std::atomic<int32_t> activeHalf_{0};
  std::atomic<bool> resetRequested_{false};
  std::atomic<bool> acceptsBlocks_{false}; ///< while buffers exist and nobody stops
  std::atomic<bool> filling_{false};       ///< a driver's own thread is in a block
  std::atomic<bool> workerBusy_{false};    ///< a lost update costs one block
  std::atomic<int32_t> switchDepth_{0};    ///< not counted atomically: a driver sends one at a time
  std::atomic<uint64_t> lostBlocks_{0};

  struct {
    bool touched[loomMaxChannels] = {}; ///< cleared at every switch
    LoomTimeRecord lastTime{};
  } audio_; // the driver's thread only, while running_

  LoomChannelTable outputs_;
  LoomChannelTable inputs_;
  std::vector<std::unique_ptr<float[]>> keptBuffers_; ///< of a hung block
  std::unique_ptr<LoomDriverList> drivers_;
  void (*wakeUp_)() = nullptr;
  LoomDriverInfo info_{};
  const AudioKernels& kernels_;
};

} // namespace orbi
