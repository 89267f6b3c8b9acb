#pragma once

#include "host/bridge.h"
#include "host/song_player.h"
#include "persist/default_pool.h"
#include "shared/probes.h"

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
    player = nullptr;
    bridge = nullptr;
    device = nullptr;
  }

  /// The driver stays closed.
  void build()
  {
    makeBridge();
    makeDevice(bridge.get());
  }
  void buildWithPlayer() ///< which stands before the bridge
  {
    makeBridge();
    player = std::make_unique<orbi::SongPlayer>(*bridge, *input);
    makeDevice(player.get());
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
  orbi::FDefaultPool settings;
  std::unique_ptr<orbi::OrbPluginHost> host;
  orbi::OrbPlugin* loaded = nullptr;
  orbi::Ref<orbi::OrbiPlayerMidiInput> input;
  orbi::Ref<orbi::OrbiPlayerAudioBridge> bridge;
  std::unique_ptr<orbi::SongPlayer> player;
  std::unique_ptr<orbi::LoomDevice> device;
  int half = 0;

private:
  void makeBridge()
  {
    host = std::make_unique<orbi::OrbPluginHost>(probeFolder / "probe_plugin");
    loaded = host->loadPlugin(0);
    if (!loaded)
      throw std::runtime_error("the probing plug-in doesn't load");
    input = orbi::make<orbi::OrbiPlayerMidiInput>();
    bridge = orbi::make<orbi::OrbiPlayerAudioBridge>(*loaded, input.get(), &settings);
  }
  void makeDevice(orbi::LoomDeviceListener* listener)
  {
    device = std::make_unique<orbi::LoomDevice>(listener, DriverProbe::list());
  }
};
