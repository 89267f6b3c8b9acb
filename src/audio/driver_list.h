#pragma once

#include "platform/driver_source.h"
#include "platform/module.h"

#include "loom/loom.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace orbi {

/// One driver of the list.
struct LoomDriverEntry {
  int32_t index = 0;                 ///< place in the list
  std::array<uint8_t, 16> classId{}; ///< zero when the text didn't parse
  std::string name;                  ///< at most 127 characters
  std::filesystem::path server;
  platform::Module module;         ///< loaded while the interface lives
  LoomDriver* interface = nullptr; ///< the driver object, or null
};

/// The drivers of this system, in the order of their registrations, and which one is selected. Main
/// thread only.
class LoomDriverList {
public:
  // Results of name() and of making the driver object, beside the driver's own
  static constexpr int32_t noBuffer = -5001;
  static constexpr int32_t alreadyOpen = -5002;
  static constexpr int32_t noSuchDriver = -5003;
  /// Names above the list, the settings' included, have at most 31 characters.
  static constexpr int32_t nameLimit = 32;

  explicit LoomDriverList(const std::vector<platform::DriverRegistration>& registrations);
  ~LoomDriverList();
  LoomDriverList(const LoomDriverList&) = delete;

  int32_t count() const { return static_cast<int32_t>(entries_.size()); }
  /// A name of limit characters or more is cut and ends in "...". 0 on success.
  int32_t name(int32_t index, char* out, int32_t limit) const;
  int32_t names(char (*out)[nameLimit], int32_t maximum) const; ///< how many it filled
  bool selectedName(char (&out)[nameLimit]) const;              ///< false when none is selected
  int32_t selectedIndex() const { return selected_; }           ///< -1 for none

  /// Makes the driver object of the first driver with exactly this (cut) name. On failure the
  /// former selection is made again, and the answer is false all the same.
  bool selectByName(const char* name);
  void unselect();
  const std::string& error() const { return error_; } ///< why the last driver wasn't made
  /// The selected driver didn't come back from a call: it is never released and its module stays.
  void abandonSelected();

private:
  int32_t findByName(const char* name) const;
  int32_t createDriver(int32_t index, LoomDriver** out);
  void releaseDriver(LoomDriverEntry& entry);
  static void closeModule(platform::Module& module);

  std::vector<LoomDriverEntry> entries_;
  int32_t selected_ = -1;
  std::string error_;
};

#pragma pack(push, 4)
/// What loading a driver is given and tells.
struct LoomDriverInfo {
  int32_t version;
  int32_t driverVersion;
  char name[loomNameBytes];
  char errorMessage[loomErrorBytes];
  void* systemHandle;
};
#pragma pack(pop)
static_assert(sizeof(LoomDriverInfo) == 172);

/// Plain functions over the driver interface in use. Each answers -1000 and gives its outputs a
/// defined value when there is none, and when the driver faults.
namespace loom {

LoomDriver* current();
void setCurrent(LoomDriver* driver);

int32_t loadDriver(LoomDriverInfo& info); ///< init; a driver that fails it is in use no more
void unloadDriver(LoomDriverList& list);

void getDriverName(char* name);
int32_t getDriverVersion();
void getErrorMessage(char* text);
int32_t start();
int32_t stop();
int32_t getChannels(int32_t* inputs, int32_t* outputs);
int32_t getLatencies(int32_t* input, int32_t* output);
int32_t getBufferSize(int32_t* minimum, int32_t* maximum, int32_t* preferred, int32_t* granularity);
int32_t canSampleRate(double rate);
int32_t getSampleRate(double* rate);
int32_t setSampleRate(double rate);
int32_t getClockSources(void* clocks, int32_t* count);
int32_t setClockSource(int32_t reference);
int32_t getSamplePosition(LoomCounter* position, LoomCounter* timeStamp);
int32_t getChannelInfo(LoomChannelInfo* info);
int32_t createBuffers(LoomBufferInfo* infos, int32_t count, int32_t frames,
                      const LoomCallbacks* callbacks);
int32_t disposeBuffers();
int32_t controlPanel();
int32_t outputReady();
bool knowsOutputReady(); ///< asked once, before any buffer exists

} // namespace loom

} // namespace orbi
