#pragma once

#include "loom/loom.h"
#include "platform/driver_source.h"
#include "platform/module.h"
#include "platform/temporary_folder.h"
#include "shared/variable.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// One buffer switch as the host saw it.
struct Switch {
  int half;
  bool timeInfo;
  uint64_t position;
  uint64_t timeStamp;
};

/// A small host that drives one driver module through its table. The callbacks carry no context, so
/// there is one at a time.
class TestHost {
public:
  explicit TestHost(const std::string& name); ///< by the registration file *-name.loom
  explicit TestHost(const orbi::platform::DriverRegistration& registration);
  TestHost(const TestHost&) = delete;
  TestHost& operator=(const TestHost&) = delete;
  ~TestHost();

  // Set before createBuffers
  bool takesTimeInfo = true;
  int stopAfter = 0; ///< calls stop inside this switch (counted from 1); 0: never
  std::function<void(int block, int half)> fill; ///< driver's thread

  // The driver's operations
  LoomDriver* driver = nullptr;
  const LoomDriverTable& table() const { return *driver->table; }
  bool init() { return table().init(driver, nullptr) != 0; }
  int32_t createBuffers(const std::vector<int>& channels, int frames);
  int32_t start() { return table().start(driver); }
  int32_t stop() { return table().stop(driver); }
  int32_t disposeBuffers() { return table().disposeBuffers(driver); }
  std::string error() const;
  std::string channelName(int channel) const;
  int sampleType() const;
  int outputs() const;
  int preferredFrames() const;
  double sampleRate() const;

  // What was seen
  std::vector<LoomBufferInfo> buffers;
  std::vector<Switch> switches; ///< read while nothing runs
  std::atomic<int> blocks{0};
  std::atomic<int> resets{0};
  /// False when that doesn't happen for half a minute.
  bool waitForBlocks(int count) const
  {
    return waitFor([=, this] { return blocks >= count; });
  }
  static bool waitFor(const std::function<bool()>& condition);
  /// Starts, and has a block outlast the time that a stop waits: all has to stay until it is back.
  void outlastAStop();

  static TestHost* current;
  void onSwitch(const Switch& seen);

private:
  orbi::platform::Module module_;
};

std::vector<orbi::platform::DriverRegistration> shippedDrivers();
orbi::platform::DriverRegistration exampleDriver(); ///< of the SDK

std::string readFile(const std::filesystem::path& path);
