#include "host/plugin_host.h"

#include <algorithm>
#include <cstring>

namespace orbi {

namespace {

constexpr int64_t interfaceVersion = 2400;
constexpr int64_t vendorVersion = 1000;
constexpr const char* vendorName = "Quillmore";
constexpr const char* productName = "ORB SL Slave";
constexpr const char* hybridModeText = "QuillmoreRewireSlaveMode";
constexpr size_t chunkPathBytes = 2048;

/// What the host can do, by exact comparison.
constexpr const char* abilities[] = {"sendOrbEvents", "sendOrbMidiEvent", "receiveOrbEvents",
                                     "receiveOrbMidiEvent", ""};

int64_t answerText(void* ptr, const char* text)
{
  if (!ptr)
    return 0;
  std::strcpy(static_cast<char*>(ptr), text);
  return 1;
}

int64_t answerCanDo(const char* text)
{
  if (!text)
    return 0;
  if (std::strcmp(text, hybridModeText) == 0)
    return OrbPluginHost::hybridMode ? 1 : 0;
  return std::any_of(std::begin(abilities), std::end(abilities),
                     [text](const char* ability) { return std::strcmp(ability, text) == 0; });
}

} // namespace

int64_t OrbPluginHost::callback(OrbEffect* effect, int32_t opcode, int32_t, int64_t value,
                                void* ptr, float)
{
  OrbPluginHost* host = instance_;
  return host ? host->answer(host->findPlugin(effect), opcode, value, ptr) : 0;
}

// The list changes on the main thread while no plug-in runs that could ask.
OrbPlugin* OrbPluginHost::findPlugin(const OrbEffect* effect) const
{
  if (!effect)
    return nullptr;
  if (loading_ && loading_->effect() == effect)
    return loading_;
  for (OrbPlugin* plugin : openPlugins_)
    if (plugin->effect() == effect)
      return plugin;
  return nullptr;
}

int64_t OrbPluginHost::answer(OrbPlugin* plugin, int32_t opcode, int64_t value, void* ptr)
{
  switch (opcode) {
  case hostVersion:
    return interfaceVersion;
  case hostWantsMidi:
    if (plugin)
      plugin->receivesMidi.store(value != 0, std::memory_order_relaxed);
    return 0;
  case hostGetTime:
    return static_cast<int64_t>(reinterpret_cast<intptr_t>(&timeBlock_));
  case hostNeedsIdle:
    needsIdle_.store(true, std::memory_order_relaxed);
    if (plugin)
      plugin->needsIdle.store(true, std::memory_order_relaxed);
    return 0;
  case hostAutomationState:
    return 1;
  case hostVendorString:
    return answerText(ptr, vendorName);
  case hostProductString:
    return answerText(ptr, productName);
  case hostVendorVersion:
    return vendorVersion;
  case hostCanDo:
    return answerCanDo(static_cast<const char*>(ptr));
  case hostLanguage:
    return 1;
  case hostChunkFile:
    return answerChunkFile(ptr);
  default:
    return 0;
  }
}

int64_t OrbPluginHost::answerChunkFile(void* ptr) const
{
  if (!ptr || !chunkFilePath)
    return 0;
  char path[chunkPathBytes] = {};
  std::string native = chunkFilePath->string();
  std::memcpy(path, native.data(), std::min(native.size(), chunkPathBytes - 1));
  std::memcpy(ptr, path, chunkPathBytes);
  return 1;
}

} // namespace orbi
