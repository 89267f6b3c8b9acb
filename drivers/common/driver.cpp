#include "common/driver.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace loom {

namespace {

// Halves begin on a cache line each, so that wide loads and stores of the host are aligned.
constexpr size_t halfAlignment = 64;

} // namespace

/// The functions of the table: check the order of calls and the pointers, then call the driver.
struct DriverCalls {
  static Driver& of(LoomDriver* self) { return static_cast<Driver::Face*>(self)->driver; }

  template <class Call>
  static int32_t guarded(LoomDriver* self, Call call)
  {
    try {
      return call(of(self));
    } catch (...) {
      return of(self).fail(loomNoMemory, "not enough memory or threads");
    }
  }

  static int32_t queryInterface(LoomDriver* self, const uint8_t* id, void** out)
  {
    if (!id || !out)
      return loomBadParameter;
    *out = nullptr;
    if (!std::equal(of(self).id_.begin(), of(self).id_.end(), id))
      return loomNotPresent;
    addRef(self);
    *out = self;
    return loomOk;
  }

  static uint32_t addRef(LoomDriver* self) { return ++of(self).references_; }

  static uint32_t release(LoomDriver* self)
  {
    const uint32_t left = --of(self).references_;
    if (left == 0) {
      disposeBuffers(self);
      if (!of(self).hasBuffers()) // else a block is under way in them, and all stays
        delete &of(self);
    }
    return left;
  }

  static int32_t init(LoomDriver* self, void*)
  {
    Driver& driver = of(self);
    if (driver.initialised_)
      return 1;
    // Unlike the others this one answers nonzero for success.
    const int32_t result =
        guarded(self, [](Driver& d) { return d.init() ? int32_t{loomOk} : loomNotPresent; });
    driver.initialised_ = result == loomOk;
    return driver.initialised_ ? 1 : 0;
  }

  static void getDriverName(LoomDriver* self, char* name)
  {
    copyText({name, loomNameBytes}, of(self).name());
  }

  static int32_t getDriverVersion(LoomDriver*) { return 1; }

  static void getErrorMessage(LoomDriver* self, char* text)
  {
    copyText({text, loomErrorBytes}, of(self).error_);
  }

  static int32_t start(LoomDriver* self)
  {
    return of(self).hasBuffers() ? guarded(self, [](Driver& d) { return d.start(); })
                                 : int32_t{loomBadMode};
  }

  static int32_t stop(LoomDriver* self)
  {
    return guarded(self, [](Driver& d) { return d.stop(); });
  }

  static int32_t getChannels(LoomDriver* self, int32_t* inputs, int32_t* outputs)
  {
    if (!inputs || !outputs)
      return loomBadParameter;
    *inputs = 0;
    *outputs = of(self).initialised_ ? of(self).outputCount() : 0;
    return *outputs > 0 ? loomOk : loomNotPresent;
  }

  static int32_t getLatencies(LoomDriver* self, int32_t* input, int32_t* output)
  {
    if (!input || !output)
      return loomBadParameter;
    *input = 0;
    *output = of(self).initialised_ ? of(self).outputLatency() : 0;
    return of(self).initialised_ ? loomOk : loomNotPresent;
  }

  static int32_t getBufferSize(LoomDriver* self, int32_t* minimum, int32_t* maximum,
                               int32_t* preferred, int32_t* granularity)
  {
    if (!minimum || !maximum || !preferred || !granularity)
      return loomBadParameter;
    if (!of(self).initialised_)
      return loomNotPresent;
    const BufferSizes sizes = of(self).bufferSizes();
    *minimum = sizes.minimum;
    *maximum = sizes.maximum;
    *preferred = sizes.preferred;
    *granularity = sizes.granularity;
    return loomOk;
  }

  static int32_t canSampleRate(LoomDriver* self, double rate)
  {
    return of(self).initialised_ && of(self).canSampleRate(rate) ? loomOk : loomNoClock;
  }

  static int32_t getSampleRate(LoomDriver* self, double* rate)
  {
    if (!rate)
      return loomBadParameter;
    *rate = of(self).initialised_ ? of(self).sampleRate() : 0.0;
    return of(self).initialised_ ? loomOk : loomNotPresent;
  }

  static int32_t setSampleRate(LoomDriver* self, double rate)
  {
    Driver& driver = of(self);
    if (!driver.initialised_ || driver.hasBuffers())
      return loomBadMode;
    return guarded(self, [rate](Driver& d) { return d.setSampleRate(rate); });
  }

  static int32_t getClockSources(LoomDriver*, void*, int32_t* count)
  {
    if (count)
      *count = 0;
    return loomNotPresent;
  }

  static int32_t setClockSource(LoomDriver*, int32_t) { return loomNotPresent; }

  static int32_t getSamplePosition(LoomDriver* self, LoomCounter* position, LoomCounter* timeStamp)
  {
    if (!position || !timeStamp)
      return loomBadParameter;
    *position = toCounter(of(self).host_.position());
    *timeStamp = toCounter(of(self).host_.timeStamp());
    return of(self).host_.timeStamp() != 0 ? loomOk : loomBadMode;
  }

  static int32_t getChannelInfo(LoomDriver* self, LoomChannelInfo* info)
  {
    return info && of(self).initialised_ ? of(self).describe(*info) : int32_t{loomBadParameter};
  }

  static int32_t createBuffers(LoomDriver* self, LoomBufferInfo* infos, int32_t count,
                               int32_t frames, const LoomCallbacks* callbacks)
  {
    if (count < 0 || count > 2 * loomMaxChannels || (count > 0 && !infos) || !callbacks)
      return loomBadParameter;
    return guarded(self, [&](Driver& d) {
      return d.createBuffers({infos, static_cast<size_t>(count)}, frames, callbacks);
    });
  }

  static int32_t disposeBuffers(LoomDriver* self)
  {
    return guarded(self, [](Driver& d) { return d.disposeBuffers(); });
  }

  static int32_t controlPanel(LoomDriver*) { return loomNotPresent; }
  static int32_t reserved(LoomDriver*, int32_t, void*) { return loomNotPresent; }
  static int32_t outputReady(LoomDriver*) { return loomNotPresent; }

  static constexpr LoomDriverTable table = {queryInterface,
                                            addRef,
                                            release,
                                            init,
                                            getDriverName,
                                            getDriverVersion,
                                            getErrorMessage,
                                            start,
                                            stop,
                                            getChannels,
                                            getLatencies,
                                            getBufferSize,
                                            canSampleRate,
                                            getSampleRate,
                                            setSampleRate,
                                            getClockSources,
                                            setClockSource,
                                            getSamplePosition,
                                            getChannelInfo,
                                            createBuffers,
                                            disposeBuffers,
                                            controlPanel,
                                            reserved,
                                            outputReady};
};

Driver::Driver(const ClassId& id) : face_{{&DriverCalls::table}, *this}, id_(id) {}

int32_t Driver::setSampleRate(double rate)
{
  return canSampleRate(rate) ? loomOk : loomNoClock;
}

void Driver::nameOutput(int channel, std::span<char, loomNameBytes> name) const
{
  std::snprintf(name.data(), name.size(), "Output %d", channel + 1);
}

int32_t Driver::fail(int32_t code, const char* format, ...)
{
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(error_, sizeof error_, format, arguments);
  va_end(arguments);
  return code;
}

int32_t Driver::describe(LoomChannelInfo& info) const
{
  if (info.isInput || info.channel < 0 || info.channel >= outputCount())
    return loomBadParameter;
  info.isActive = std::any_of(outputs_.begin(), outputs_.end(),
                              [&](const Output& output) { return output.channel == info.channel; });
  info.group = 0;
  info.type = sampleType();
  std::memset(info.name, 0, sizeof info.name);
  nameOutput(info.channel, info.name);
  return loomOk;
}

// ---- buffers ------------------------------------------------------------------------------------

bool Driver::accepts(std::span<const LoomBufferInfo> infos) const
{
  std::array<bool, loomMaxChannels> taken{};
  for (const LoomBufferInfo& info : infos) {
    if (info.isInput || info.channel < 0 ||
        info.channel >= std::min(outputCount(), int{loomMaxChannels}))
      return false;
    if (taken[info.channel])
      return false;
    taken[info.channel] = true;
  }
  return true;
}

int32_t Driver::createBuffers(std::span<LoomBufferInfo> infos, int frames,
                              const LoomCallbacks* callbacks)
{
  for (LoomBufferInfo& info : infos)
    info.buffers[0] = info.buffers[1] = nullptr;
  if (!initialised_ || hasBuffers())
    return loomBadMode;
  if (!callbacks->bufferSwitch || !accepts(infos))
    return loomBadParameter;
  const BufferSizes sizes = bufferSizes();
  if (frames < sizes.minimum || frames > sizes.maximum)
    return fail(loomBadParameter, "blocks of %d frames are not possible", frames);

  allocateHalves(infos, frames);
  host_.attach(*callbacks);
  const int32_t result = tryOpenBuffers();
  if (result != loomOk) {
    freeBuffers();
    for (LoomBufferInfo& info : infos)
      info.buffers[0] = info.buffers[1] = nullptr;
  }
  return result;
}

int32_t Driver::tryOpenBuffers()
{
  try {
    return openBuffers();
  } catch (...) {
    return fail(loomNoMemory, "not enough memory");
  }
}

void Driver::allocateHalves(std::span<LoomBufferInfo> infos, int frames)
{
  const size_t halfBytes =
      (frames * sizeof(uint32_t) + halfAlignment - 1) / halfAlignment * halfAlignment;
  const size_t bytes = infos.size() * 2 * halfBytes;
  std::vector<Output> outputs;
  outputs.reserve(infos.size());
  memory_ = std::make_unique<uint8_t[]>(bytes + halfAlignment); // all silent

  void* start = memory_.get();
  size_t space = bytes + halfAlignment;
  auto* next = static_cast<uint8_t*>(std::align(halfAlignment, bytes, start, space));
  const size_t toOtherHalf = infos.size() * halfBytes; // what one block fills lies together
  for (LoomBufferInfo& info : infos) {
    outputs.push_back({info.channel, {next, next + toOtherHalf}});
    info.buffers[0] = next;
    info.buffers[1] = next + toOtherHalf;
    next += halfBytes;
  }
  outputs_ = std::move(outputs);
  frames_ = frames;
}

int32_t Driver::disposeBuffers()
{
  if (!hasBuffers() || host_.insideSwitch())
    return loomBadMode;
  const int32_t result = stop();
  if (result != loomBadMode)
    freeBuffers();
  return result;
}

void Driver::freeBuffers()
{
  closeBuffers();
  host_.detach();
  outputs_.clear();
  memory_.reset();
  frames_ = 0;
}

void copyText(std::span<char> field, const char* text)
{
  if (!field.data())
    return;
  const size_t length = std::min(std::strlen(text), field.size() - 1);
  std::fill(std::copy_n(text, length, field.begin()), field.end(), '\0');
}

} // namespace loom
