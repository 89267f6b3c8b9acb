#include "test_host.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace fs = std::filesystem;

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

fs::path registrationOf(const std::string& name)
{
  for (const fs::directory_entry& entry : fs::directory_iterator(driverFolder()))
    if (entry.path().filename().string().ends_with("-" + name + ".loom"))
      return entry.path();
  throw std::runtime_error("no registration file for " + name);
}

} // namespace

TestHost::TestHost(const std::string& name)
{
  load(registrationOf(name), driverFolder());
}

TestHost::TestHost(const fs::path& registration, const fs::path& folder)
{
  load(registration, folder);
}

void TestHost::load(const fs::path& registration, const fs::path& folder)
{
  current = this;
  const Registration entry = readRegistration(registration);
  module_ = dlopen((folder / entry.server).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module_)
    throw std::runtime_error(dlerror());
  const auto create =
      reinterpret_cast<LoomCreateDriverFunction>(dlsym(module_, "LoomCreateDriver"));
  void* object = nullptr;
  if (!create || create(entry.classId, &object) != loomOk)
    throw std::runtime_error("no driver of the registered class in " + entry.server);
  driver = static_cast<LoomDriver*>(object);
}

TestHost::~TestHost()
{
  if (driver)
    table().release(driver);
  if (module_)
    dlclose(module_);
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

// ---- files and variables ------------------------------------------------------------------------

Registration readRegistration(const fs::path& file)
{
  Registration result{};
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) {
    const size_t equals = line.find('=');
    const std::string key = line.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : line.substr(equals + 1);
    uint8_t* id = result.classId;
    if (key == "description")
      result.description = value;
    if (key == "server")
      result.server = value;
    if (key == "clsid") // byte order of a GUID in memory
      std::sscanf(value.c_str(),
                  "{%2hhx%2hhx%2hhx%2hhx-%2hhx%2hhx-%2hhx%2hhx-%2hhx%2hhx-%2hhx%2hhx%2hhx%2hhx%2hhx"
                  "%2hhx}",
                  id + 3, id + 2, id + 1, id, id + 5, id + 4, id + 7, id + 6, id + 8, id + 9,
                  id + 10, id + 11, id + 12, id + 13, id + 14, id + 15);
  }
  return result;
}

fs::path driverFolder()
{
  return ORBI_DRIVER_FOLDER;
}

Variable::Variable(const char* name, const std::string& value) : name_(name)
{
  setenv(name, value.c_str(), 1);
}

Variable::~Variable()
{
  unsetenv(name_);
}

TemporaryFolder::TemporaryFolder()
{
  std::string pattern = fs::temp_directory_path() / "orbi_drivers_XXXXXX";
  path_ = mkdtemp(pattern.data());
}

TemporaryFolder::~TemporaryFolder()
{
  fs::remove_all(path_);
}

std::vector<uint8_t> readFile(const std::string& path)
{
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}
