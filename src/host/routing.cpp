#include "host/routing.h"

#include "foundation/class_registry.h"
#include "host/plugin.h"
#include "persist/default_pool.h"

#include <algorithm>

namespace orbi {

CM_REGISTER_ABSTRACT(PluginRouting); // needs its plug-in

namespace {

std::string keyOf(int32_t output)
{
  return "Port" + std::to_string(output);
}

} // namespace

PluginRouting::PluginRouting(OrbPlugin& plugin) : pluginName_(plugin.name())
{
  int32_t count = std::max(plugin.numOutputs(), 0);
  defaults_.assign(static_cast<size_t>(count), 0);
  for (int32_t output = 0; output < count; ++output)
    if (plugin.outputIsStereo(output) && ++output < count)
      defaults_[size_t(output)] = 1;
  current_ = decltype(current_)(defaults_.size());
  reset();
}

void PluginRouting::set(int32_t output, int32_t deviceOutput)
{
  if (output >= 0 && output < outputCount())
    current_[size_t(output)].store(deviceOutput, std::memory_order_relaxed);
}

bool PluginRouting::isUsed(int32_t deviceOutput) const
{
  for (int32_t output = 0; output < outputCount(); ++output)
    if (at(output) == deviceOutput)
      return true;
  return false;
}

void PluginRouting::reset()
{
  for (int32_t output = 0; output < outputCount(); ++output)
    set(output, defaultAt(output));
}

void PluginRouting::clamp(int32_t last)
{
  for (int32_t output = 0; output < outputCount(); ++output)
    if (at(output) > last)
      set(output, defaultAt(output));
}

std::string PluginRouting::group(const std::string& driverName) const
{
  return "OrbPlugRouting\\" + pluginName_ + "\\" + driverName;
}

void PluginRouting::load(FDefaultPool& settings, const std::string& driverName)
{
  const FDefaults* stored = settings.getGroup(group(driverName).c_str(), 0, false);
  for (int32_t output = 0; stored && output < outputCount(); ++output) {
    int64_t place = 0;
    if (stored->getInt(keyOf(output).c_str(), place) && place >= 0 && place <= INT32_MAX)
      set(output, static_cast<int32_t>(place));
  }
}

void PluginRouting::save(FDefaultPool& settings, const std::string& driverName) const
{
  if (FDefaults* stored = settings.getGroup(group(driverName).c_str()))
    for (int32_t output = 0; output < outputCount(); ++output)
      stored->setInt(keyOf(output).c_str(), at(output));
}

} // namespace orbi
