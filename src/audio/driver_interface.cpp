#include "audio/driver_list.h"

#include "platform/fault_guard.h"

#include <atomic>
#include <cstring>

namespace orbi::loom {

namespace {

// Set on the main thread while no block runs; read there and on the thread of the buffer switch.
std::atomic<LoomDriver*> currentDriver{nullptr};

LoomDriver* inUse()
{
  return currentDriver.load(std::memory_order_relaxed);
}

/// Calls one operation of the current driver; loomNotPresent without a driver and after a fault.
template <class Result, class... Parameters, class... Arguments>
Result call(Result (*LoomDriverTable::*operation)(LoomDriver*, Parameters...), Result absent,
            Arguments... arguments)
{
  LoomDriver* driver = inUse();
  if (!driver)
    return absent;
  Result result = absent;
  bool done =
      platform::guarded([&] { result = (driver->table->*operation)(driver, arguments...); });
  return done ? result : absent;
}

template <class... Parameters, class... Arguments>
int32_t callForCode(int32_t (*LoomDriverTable::*operation)(LoomDriver*, Parameters...),
                    Arguments... arguments)
{
  return call(operation, static_cast<int32_t>(loomNotPresent), arguments...);
}

void callForText(void (*LoomDriverTable::*operation)(LoomDriver*, char*), char* text, size_t bytes)
{
  LoomDriver* driver = inUse();
  text[0] = 0;
  if (!driver)
    return;
  // Room to spare: a driver that writes past its limit shall not write past ours.
  char roomy[512] = {};
  if (platform::guarded([&] { (driver->table->*operation)(driver, roomy); }))
    std::memcpy(text, roomy, bytes);
  text[bytes - 1] = 0;
}

} // namespace

LoomDriver* current()
{
  return inUse();
}

void setCurrent(LoomDriver* driver)
{
  currentDriver = driver;
}

int32_t loadDriver(LoomDriverInfo& info)
{
  info.driverVersion = 0;
  std::strcpy(info.name, "No LOOM Driver");
  if (!inUse())
    return loomNotPresent;
  if (call(&LoomDriverTable::init, 0, info.systemHandle) == 0) {
    getErrorMessage(info.errorMessage);
    currentDriver = nullptr;
    return loomNotPresent;
  }
  std::strcpy(info.errorMessage, "No LOOM Driver Error");
  getDriverName(info.name);
  info.driverVersion = getDriverVersion();
  return loomOk;
}

void unloadDriver(LoomDriverList& list)
{
  list.unselect();
  currentDriver = nullptr;
}

void getDriverName(char* name)
{
  callForText(&LoomDriverTable::getDriverName, name, loomNameBytes);
}

int32_t getDriverVersion()
{
  return callForCode(&LoomDriverTable::getDriverVersion);
}

void getErrorMessage(char* text)
{
  callForText(&LoomDriverTable::getErrorMessage, text, loomErrorBytes);
}

int32_t start()
{
  return callForCode(&LoomDriverTable::start);
}

int32_t stop()
{
  return callForCode(&LoomDriverTable::stop);
}

int32_t getChannels(int32_t* inputs, int32_t* outputs)
{
  *inputs = *outputs = 0;
  return callForCode(&LoomDriverTable::getChannels, inputs, outputs);
}

int32_t getLatencies(int32_t* input, int32_t* output)
{
  *input = *output = 0;
  return callForCode(&LoomDriverTable::getLatencies, input, output);
}

int32_t getBufferSize(int32_t* minimum, int32_t* maximum, int32_t* preferred, int32_t* granularity)
{
  *minimum = *maximum = *preferred = *granularity = 0;
  return callForCode(&LoomDriverTable::getBufferSize, minimum, maximum, preferred, granularity);
}

int32_t canSampleRate(double rate)
{
  return callForCode(&LoomDriverTable::canSampleRate, rate);
}

int32_t getSampleRate(double* rate)
{
  *rate = 0.0;
  return callForCode(&LoomDriverTable::getSampleRate, rate);
}

int32_t setSampleRate(double rate)
{
  return callForCode(&LoomDriverTable::setSampleRate, rate);
}

int32_t getClockSources(void* clocks, int32_t* count)
{
  return callForCode(&LoomDriverTable::getClockSources, clocks, count);
}

int32_t setClockSource(int32_t reference)
{
  return callForCode(&LoomDriverTable::setClockSource, reference);
}

// This one and outputReady come with every block, on a thread that runs the driver's code anyway: a
// guard would cost and protect from nothing.
int32_t getSamplePosition(LoomCounter* position, LoomCounter* timeStamp)
{
  LoomDriver* driver = inUse();
  if (driver)
    return driver->table->getSamplePosition(driver, position, timeStamp);
  *position = *timeStamp = {0, 0};
  return loomNotPresent;
}

int32_t outputReady()
{
  LoomDriver* driver = inUse();
  return driver ? driver->table->outputReady(driver) : static_cast<int32_t>(loomNotPresent);
}

bool knowsOutputReady()
{
  return callForCode(&LoomDriverTable::outputReady) == 0;
}

int32_t getChannelInfo(LoomChannelInfo* info)
{
  info->group = -1;
  info->type = 0;
  std::strcpy(info->name, "None");
  return callForCode(&LoomDriverTable::getChannelInfo, info);
}

int32_t createBuffers(LoomBufferInfo* infos, int32_t count, int32_t frames,
                      const LoomCallbacks* callbacks)
{
  for (int32_t i = 0; i < count; ++i)
    infos[i].buffers[0] = infos[i].buffers[1] = nullptr;
  return callForCode(&LoomDriverTable::createBuffers, infos, count, frames, callbacks);
}

int32_t disposeBuffers()
{
  return callForCode(&LoomDriverTable::disposeBuffers);
}

int32_t controlPanel()
{
  return callForCode(&LoomDriverTable::controlPanel);
}

} // namespace orbi::loom
