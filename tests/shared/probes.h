#pragma once

#include "audio/device.h"
#include "probe/probe.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

inline const std::filesystem::path probeFolder = ORBI_PROBE_FOLDER;

/// A probing module, held loaded so that its record outlives the user of the module.
inline orbi::platform::Module probeModule(const std::string& name)
{
  std::string error;
  auto module = orbi::platform::Module::load(probeFolder / (name + ".so"), error);
  return module ? std::move(module) : throw std::runtime_error(error);
}

/// The probing plug-in's script and record, new with each test.
class PluginProbe {
public:
  explicit PluginProbe(const std::string& module = "probe_plugin") : module_(probeModule(module))
  {
    probe_->~ProbePlugin();
    new (probe_) ProbePlugin;
  }
  ProbePlugin* operator->() const { return probe_; }
  /// Calls since the last time, one a line: opcode, index, value, float.
  std::string takeCalls() const
  {
    std::string text = probe_->calls.text;
    probe_->calls.clear();
    return text;
  }

private:
  orbi::platform::Module module_;
  ProbePlugin* probe_ = module_.function<ProbePlugin*()>("probePlugin")();
};

/// The probing driver's scripts and records, new with each test, and the list that they stand in
/// under the names "Probe 0" to "Probe 3".
class DriverProbe {
public:
  static constexpr int count = 4;

  DriverProbe()
  {
    for (int index = 0; index < count; ++index) {
      ProbeDriver* probe = &(*this)[index];
      probe->~ProbeDriver();
      new (probe) ProbeDriver;
      std::fill(std::begin(probe->type), std::end(probe->type), 19); // float
    }
  }
  ProbeDriver& operator[](int index) const
  {
    return *module_.function<ProbeDriver*(int)>("probeDriver")(index);
  }
  ProbeDriver* operator->() const { return &(*this)[0]; }

  static orbi::platform::DriverRegistration registration(int index)
  {
    std::string number = std::to_string(index);
    return {"probe" + number, "{0000000" + number + "-0000-0000-0000-000000000000}",
            "Probe " + number, true, probeFolder / "probe_driver.so"};
  }
  static std::unique_ptr<orbi::LoomDriverList> list()
  {
    std::vector<orbi::platform::DriverRegistration> all;
    for (int index = 0; index < count; ++index)
      all.push_back(registration(index));
    return std::make_unique<orbi::LoomDriverList>(all);
  }
  std::string takeCalls(int index = 0) const
  {
    ProbeRecord& calls = (*this)[index].calls;
    std::string text = calls.text;
    calls.clear();
    return text;
  }
  /// One buffer switch from the driver's thread.
  void switchBuffers(int32_t half, int32_t direct = 1) const
  {
    std::thread([=, this] { (*this)->callbacks.bufferSwitch(half, direct); }).join();
  }
  /// Returns when the test holds; what never holds ends in the runner's time-out.
  template <class Test>
  static void waitUntil(Test test)
  {
    while (!test())
      std::this_thread::yield();
  }

private:
  orbi::platform::Module module_ = probeModule("probe_driver");
};
