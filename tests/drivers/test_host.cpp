#include "drivers/test_host.h"

#include "foundation/uid.h"

#include <chrono>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace platform = orbi::platform;

TestHost* TestHost::current = nullptr;

namespace {

uint64_t wide(LoomCounter counter)
{
  return uint64_t(counter.high) << 32 | counter.low;
}

void bufferSwitch(int32_t half, int32_t)
{
  LoomDriver* driver = TestHost::current->driver;
  LoomCounter position{};
  LoomCounter timeStamp{};
  driver->table->getSamplePosition(driver, &position, &timeStamp);
  TestHost::current->onSwitch({half, false, wide(position), wide(timeStamp)});
}

LoomTimeRecord* bufferSwitchTimeInfo(LoomTimeRecord* time, int32_t half, int32_t)
{
  TestHost::current->onSwitch({half, true, wide(time->samplePosition), wide(time->timeStamp)});
  return time;
}

int32_t message(int32_t selector, int32_t value, ...)
{
  switch (selector) {
  case loomSelectorSupported:
    return value == loomSupportsTimeInfo || value == loomResetRequest;
  case loomResetRequest:
    ++TestHost::current->resets;
    return 1;
  case loomSupportsTimeInfo:
    return TestHost::current->takesTimeInfo;
  default:
    return 0;
  }
}

platform::DriverRegistration shippedDriver(const std::string& name)
{
  for (const platform::DriverRegistration& registration : shippedDrivers())
    if (registration.key.ends_with("-" + name))
      return registration;
  throw std::runtime_error("no registration file for " + name);
}

} // namespace

TestHost::TestHost(const std::string& name) : TestHost(shippedDriver(name)) {}

TestHost::TestHost(const platform::DriverRegistration& registration)
{
  current = this;
  std::string error;
  module_ = platform::Module::load(registration.server, error);
  if (!module_)
    throw std::runtime_error(error);
  const auto create =
      reinterpret_cast<LoomCreateDriverFunction>(module_.symbol("LoomCreateDriver"));
  orbi::FUID id;
  id.fromRegistryText(registration.classId);
  void* object = nullptr;
  if (!create || create(id.bytes(), &object) != loomOk)
    throw std::runtime_error("no driver of the class " + registration.classId);
  driver = static_cast<LoomDriver*>(object);
}

TestHost::~TestHost()
{
  if (driver)
    table().release(driver);
  current = nullptr;
}

int32_t TestHost::createBuffers(const std::vector<int>& channels, int frames)
{
  static const LoomCallbacks callbacks = {bufferSwitch, nullptr, message, bufferSwitchTimeInfo};
  blocks = 0;
  resets = 0;
  switches.clear();
  buffers.clear();
  for (const int channel : channels)
    buffers.push_back({0, channel, {nullptr, nullptr}});
  return table().createBuffers(driver, buffers.data(), static_cast<int32_t>(buffers.size()), frames,
                               &callbacks);
}

void TestHost::onSwitch(const Switch& seen)
{
  switches.push_back(seen);
  const int block = blocks;
  if (fill)
    fill(block, seen.half);
  if (block + 1 == stopAfter)
    stop();
  blocks = block + 1;
}

std::string TestHost::error() const
{
  char text[loomErrorBytes];
  table().getErrorMessage(driver, text);
  return text;
}

std::string TestHost::channelName(int channel) const
{
  LoomChannelInfo info{};
  info.channel = channel;
  return table().getChannelInfo(driver, &info) == loomOk ? info.name : "";
}

int TestHost::sampleType() const
{
  LoomChannelInfo info{};
  return table().getChannelInfo(driver, &info) == loomOk ? info.type : -1;
}

int TestHost::outputs() const
{
  int32_t inputs = 0;
  int32_t outputs = 0;
  table().getChannels(driver, &inputs, &outputs);
  return outputs;
}

int TestHost::preferredFrames() const
{
  int32_t sizes[4]{};
  table().getBufferSize(driver, &sizes[0], &sizes[1], &sizes[2], &sizes[3]);
  return sizes[2];
}

double TestHost::sampleRate() const
{
  double rate = 0.0;
  table().getSampleRate(driver, &rate);
  return rate;
}

bool TestHost::waitFor(const std::function<bool()>& condition)
{
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

void TestHost::outlastAStop()
{
  std::atomic<bool> isInside{false};
  std::atomic<bool> mayReturn{false};
  fill = [&](int block, int half) {
    if (block != 3)
      return;
    isInside = true;
    waitFor([&] { return mayReturn.load(); });
    for (const LoomBufferInfo& info : buffers)
      std::memset(info.buffers[half], 1, size_t(preferredFrames()) * 4);
  };
  ASSERT_TRUE(init()) << error();
  ASSERT_EQ(createBuffers({0, 1}, preferredFrames()), loomOk) << error();
  ASSERT_EQ(start(), loomOk) << error();
  ASSERT_TRUE(waitFor([&] { return isInside.load(); }));
  EXPECT_EQ(disposeBuffers(), loomBadMode);
  EXPECT_NE(error(), "");
  EXPECT_EQ(start(), loomBadMode) << "it runs yet";
  mayReturn = true;
  EXPECT_EQ(stop(), loomOk);
  EXPECT_EQ(blocks, 4);
  EXPECT_EQ(disposeBuffers(), loomOk) << "they are still there";
}

std::vector<platform::DriverRegistration> shippedDrivers()
{
  const std::filesystem::path folder = ORBI_DRIVER_FOLDER;
  auto drivers = platform::registeredDrivers(folder.parent_path());
  std::erase_if(drivers, [&](const auto& driver) { return driver.server.parent_path() != folder; });
  return drivers;
}

platform::DriverRegistration exampleDriver()
{
  const std::filesystem::path folder = ORBI_EXAMPLE_FOLDER;
  return platform::parseRegistration(readFile(folder / "null.loom"), "null", folder).value();
}

std::string readFile(const std::filesystem::path& path)
{
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}
