#include "host/plugin_host.h"

#include "foundation/class_registry.h"
#include "foundation/file_type.h"
#include "foundation/ref.h"
#include "platform/paths.h"
#include "platform/product_registry.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace orbi {

CM_REGISTER_ABSTRACT(OrbPluginHost); // one, made by the application

namespace {

constexpr double lowestSampleRate = 16000.0;
constexpr double lowestTempo = 10.0;
constexpr double usualBar = 4.0;         // a power of two, by which dividing is exact
constexpr double largestWhole = 0x1p+62; // that fits an integer
constexpr OrbTimeBlock firstTime = {0, 48000, 0, 0, 120, 0, 0, 0, 4, 4, 0, 30, 0, 0};
constexpr const char* siblingProduct = "Quillmore Gantry 3";

/// Main and audio thread write the block and the plug-in reads it, with no lock between them: each
/// field changes whole, and a reader may see those of two blocks.
template <class T>
void put(T& field, T value)
{
  std::atomic_ref<T>(field).store(value, std::memory_order_relaxed);
}
template <class T>
T get(T& field)
{
  return std::atomic_ref<T>(field).load(std::memory_order_relaxed);
}

/// What is left of x after whole bars. A bar length of 0 or none at all isn't refused: nothing is.
double remainder(double x, double bar)
{
  if (bar == usualBar && std::abs(x) < largestWhole) // the same, without the library
    return x - static_cast<double>(static_cast<int64_t>(x / usualBar)) * usualBar;
  return std::isfinite(bar) && bar != 0.0 ? std::fmod(x, bar) : 0.0;
}

FFileType moduleType()
{
  return FFileType("Module", "shlb", std::string(platform::moduleExtension()).c_str());
}

} // namespace

OrbPluginHost::OrbPluginHost(const std::filesystem::path& executable, Search search,
                             const char* name)
    : executable_(executable)
{
  instance_ = this;
  timeBlock_ = firstTime;
  if (search == Search::besideProgram)
    findBeside();
  else if (name)
    findByName(name);
}

OrbPluginHost::~OrbPluginHost()
{
  unloadAll();
  instance_ = nullptr;
}

ORBI_REALTIME_DATA OrbPluginHost* OrbPluginHost::instance_ = nullptr;
ORBI_REALTIME_DATA alignas(64) OrbTimeBlock OrbPluginHost::timeBlock_; // filled by the constructor

// ---- modules ----

std::string OrbPluginHost::expectedModuleName() const
{
  return executable_.stem().string() + "." + moduleType().extension.text();
}

void OrbPluginHost::findBeside()
{
  std::filesystem::path module =
      (executable_.parent_path() / expectedModuleName()).lexically_normal();
  std::error_code error;
  if (!std::filesystem::exists(module, error))
    return;
  modules_.push_back({module.filename().string()});
  directory_ = module.parent_path();
}

std::string OrbPluginHost::folderOfCommand(const std::string& command)
{
  std::string text = command.empty() ? command : command.substr(1); // a leading quote falls away
  size_t program = text.find(".exe");
  if (program == std::string::npos)
    return {};
  size_t slash = text.rfind('\\', program);
  return slash == std::string::npos ? std::string() : text.substr(0, slash + 1);
}

void OrbPluginHost::findByName(const char* name)
{
  std::optional<std::string> command = platform::uninstallCommand(siblingProduct);
  std::string folder = command ? folderOfCommand(*command) : std::string();
  if (folder.empty())
    return;
  directory_ = folder;
  std::error_code error;
  if (std::filesystem::exists(modulePath(name), error))
    modules_.push_back({name});
}

/// A name without extension stands for the module of that name.
std::filesystem::path OrbPluginHost::modulePath(const std::string& name) const
{
  std::filesystem::path path = directory_ / name;
  std::error_code error;
  if (!std::filesystem::exists(path, error))
    path += std::string(".") + moduleType().extension.text();
  return path;
}

// ---- plug-ins ----

OrbPlugin* OrbPluginHost::loadPlugin(int32_t moduleIndex)
{
  if (moduleIndex < 0 || moduleIndex >= moduleCount() || openCount() >= maxOpen)
    return nullptr;
  ModuleEntry& entry = modules_[size_t(moduleIndex)];
  auto plugin = make<OrbPlugin>(entry.name, moduleIndex);
  loading_ = plugin.get();
  bool opened = plugin->load(modulePath(entry.name), &OrbPluginHost::callback);
  // Its entry may have asked for idle calls when nobody knew yet whose entry it is.
  if (needsIdle_.load(std::memory_order_relaxed))
    plugin->needsIdle.store(true, std::memory_order_relaxed);
  opened = opened && plugin->open();
  loading_ = nullptr;
  if (!opened)
    return nullptr;
  entry.inputs = plugin->numInputs();
  entry.outputs = plugin->numOutputs();
  entry.params = plugin->numParams();
  plugin->openIndex = openCount();
  openPlugins_.push_back(plugin.get());
  return plugin.detach();
}

bool OrbPluginHost::unloadPlugin(OrbPlugin* plugin)
{
  auto place = std::find(openPlugins_.begin(), openPlugins_.end(), plugin);
  if (!plugin || place == openPlugins_.end())
    return false;
  closeEditor(*plugin);
  plugin->close();
  place = openPlugins_.erase(place);
  for (; place != openPlugins_.end(); ++place)
    --(*place)->openIndex;
  plugin->releaseRef();
  return true;
}

void OrbPluginHost::unloadAll()
{
  while (!openPlugins_.empty())
    unloadPlugin(openPlugins_.front());
}

// ---- time ----

void OrbPluginHost::setTimeBase(double sampleRate, double tempo, int32_t numerator,
                                int32_t denominator)
{
  if (sampleRate >= lowestSampleRate)
    put(timeBlock_.sampleRate, sampleRate);
  if (tempo >= lowestTempo)
    put(timeBlock_.tempo, tempo);
  put(timeBlock_.signatureNumerator, numerator);
  put(timeBlock_.signatureDenominator, denominator);
}

void OrbPluginHost::updateTime(double samplePosition, double nanoSeconds, double musicalPosition,
                               bool playing)
{
  int32_t flags = orbSignatureValid | orbTempoValid;
  put(timeBlock_.samplePosition, samplePosition);
  if (nanoSeconds != -1.0) {
    put(timeBlock_.nanoSeconds, nanoSeconds);
    flags |= orbNanoSecondsValid;
  }
  if (musicalPosition == -1.0)
    musicalPosition = samplePosition / get(timeBlock_.sampleRate) * (get(timeBlock_.tempo) / 60.0);
  put(timeBlock_.musicalPosition, musicalPosition);
  flags |= orbMusicalPositionValid;

  double barLength = static_cast<double>(get(timeBlock_.signatureNumerator)) /
                     get(timeBlock_.signatureDenominator) * 4.0;
  put(timeBlock_.barStartPosition, musicalPosition - remainder(musicalPosition, barLength));
  flags |= orbBarStartValid;
  if (playing)
    flags |= orbTransportPlays;
  put(timeBlock_.flags, flags);
}

} // namespace orbi
