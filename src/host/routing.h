#pragma once

#include "foundation/object.h"
#include "foundation/realtime_memory.h"
#include "platform/realtime_layout.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace orbi {

class FDefaultPool;
class OrbPlugin;

/// Which device output each plug-in output plays on. Written on the main thread and read by the
/// audio thread without a lock: an entry changes whole. Views of it depend on it.
class PluginRouting final : public CmClass<PluginRouting, CmObject>, public RealtimeObject {
public:
  static constexpr const char* className = "PluginRouting";

  /// All outputs on the device's first pair: a stereo output on 0 and 1, any other on 0.
  explicit PluginRouting(OrbPlugin& plugin);
  PluginRouting(const PluginRouting&) = delete;

  int32_t outputCount() const { return static_cast<int32_t>(defaults_.size()); }
  int32_t at(int32_t output) const
  {
    return current_[size_t(output)].load(std::memory_order_relaxed);
  }
  void set(int32_t output, int32_t deviceOutput);
  int32_t defaultAt(int32_t output) const { return defaults_[size_t(output)]; }
  const std::string& pluginName() const { return pluginName_; }
  bool isUsed(int32_t deviceOutput) const;

  void reset();             ///< to the defaults
  void clamp(int32_t last); ///< an entry above the last device output takes its default

  /// "OrbPlugRouting\<plug-in>\<driver>", "Port<output>". Loading keeps what isn't stored.
  void load(FDefaultPool& settings, const std::string& driverName);
  void save(FDefaultPool& settings, const std::string& driverName) const;

private:
  std::string group(const std::string& driverName) const;

  std::string pluginName_;
  std::vector<std::atomic<int32_t>, RealtimeAllocator<std::atomic<int32_t>>> current_;
  std::vector<int32_t> defaults_;
};

} // namespace orbi
