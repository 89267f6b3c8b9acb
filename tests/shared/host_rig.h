#pragma once

#include "host/bridge.h"
#include "host/settings.h"
#include "shared/probes.h"

#include <map>

/// Settings in memory.
class MemorySettings final : public orbi::HostSettings {
public:
  bool getInt(const std::string& group, const std::string& key, int64_t& value) const override
  {
    auto found = numbers.find(group + "/" + key);
    return found != numbers.end() && (value = found->second, true);
  }
  void setInt(const std::string& group, const std::string& key, int64_t value) override
  {
    numbers[group + "/" + key] = value;
  }
  bool getString(const std::string& group, const std::string& key,
                 std::string& value) const override
  {
    auto found = texts.find(group + "/" + key);
    return found != texts.end() && (value = found->second, true);
  }
  void setString(const std::string& group, const std::string& key,
                 const std::string& value) override
  {
    texts[group + "/" + key] = value;
  }

  std::map<std::string, int64_t> numbers;
  std::map<std::string, std::string> texts;
};

/// The host from the driver to the plug-in, between the two probes. The scripts are set before
/// build().
class HostRig {
public:
  HostRig() { plugin->outputFlags[0] = orbOutputStereo; }
  ~HostRig() { close(); }
  /// Whoever stands before the bridge does this before it goes.
  void close()
  {
    if (device) {
      device->stop();
      device->setListener(nullptr);
    }
    bridge = nullptr;
    device = nullptr;
  }

  /// The driver stays closed; `front` makes a listener that stands before the bridge.
  template <class Front>
  void build(Front front)
  {
    host = std::make_unique<orbi::OrbPluginHost>(probeFolder / "probe_plugin");
    loaded = host->loadPlugin(0);
    if (!loaded)
      throw std::runtime_error("the probing plug-in doesn't load");
    input = orbi::make<orbi::OrbiPlayerMidiInput>();
    bridge = orbi::make<orbi::OrbiPlayerAudioBridge>(*loaded, input.get(), &settings);
    device = std::make_unique<orbi::LoomDevice>(front(), DriverProbe::list());
  }
  void build()
  {
    build([this] { return bridge.get(); });
  }
  bool start()
  {
    if (!device)
      build();
    return device->selectDriver(0) && device->start();
  }

  void play(const std::vector<orbi::PMidiEvent>& events)
  {
    for (orbi::PMidiEvent event : events)
      input->receive(event);
  }
  /// One block on the driver's thread.
  void block() { driver.switchBuffers(half ^= 1); }
  float sample(int output, int frame)
  {
    const void* buffer = driver->buffer(output, half);
    return buffer ? static_cast<const float*>(buffer)[frame] : -1.0f;
  }
  /// What the plug-in got with the last list: status, data 1, data 2 of each event.
  std::vector<std::array<int, 3>> eventsSeen()
  {
    std::vector<std::array<int, 3>> seen;
    for (int32_t i = 0; i < plugin->eventCount; ++i)
      seen.push_back({plugin->events[i].status, plugin->events[i].data1, plugin->events[i].data2});
    return seen;
  }

  PluginProbe plugin;
  DriverProbe driver;
  MemorySettings settings;
  std::unique_ptr<orbi::OrbPluginHost> host;
  orbi::OrbPlugin* loaded = nullptr;
  orbi::Ref<orbi::OrbiPlayerMidiInput> input;
  orbi::Ref<orbi::OrbiPlayerAudioBridge> bridge;
  std::unique_ptr<orbi::LoomDevice> device;
  int half = 0;
};
