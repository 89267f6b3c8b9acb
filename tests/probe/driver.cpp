// The probing driver: four of them in one module, told apart by the first byte of the class id.
#include "probe/probe.h"

#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <vector>

namespace {

constexpr int driverCount = 4;

struct Object {
  LoomDriver interface; // first: what the host holds
  ProbeDriver probe;
  std::vector<float> memory;
  std::atomic<bool> running{false};
  pthread_t thread;
};

Object objects[driverCount];

Object& of(LoomDriver* self)
{
  return *reinterpret_cast<Object*>(self);
}

/// Notes the call; the answer by the script.
int32_t answer(LoomDriver* self, const char* name, ProbeDriver::Step step)
{
  of(self).probe.calls.add("%s", name);
  // The variable scripts it from outside of the process.
  bool fails = of(self).probe.failing == step ||
               (step == ProbeDriver::atStart && std::getenv("PROBE_FAILING"));
  return fails ? loomBadMode : loomOk;
}

/// What no test asks for.
template <class... Arguments>
int32_t refuse(LoomDriver*, Arguments...)
{
  return loomBadMode;
}

uint32_t addRef(LoomDriver*)
{
  return 2;
}

uint32_t release(LoomDriver* self)
{
  of(self).probe.calls.add("release");
  return 0;
}

int32_t init(LoomDriver* self, void*)
{
  return answer(self, "init", ProbeDriver::atInit) == loomOk;
}

void driverName(LoomDriver*, char* name)
{
  std::strcpy(name, "Probe");
}

int32_t driverVersion(LoomDriver*)
{
  return 7;
}

void errorMessage(LoomDriver* self, char* text)
{
  std::snprintf(text, loomErrorBytes, "step %d fails", of(self).probe.failing);
}

void switchOnce(ProbeDriver& probe, int32_t half)
{
  if (probe.timeInfo) {
    LoomTimeRecord time{};
    time.samplePosition = probe.position;
    time.timeStamp = probe.timeStamp;
    probe.callbacks.bufferSwitchTimeInfo(&time, half, probe.direct);
  } else {
    probe.callbacks.bufferSwitch(half, probe.direct);
  }
  ++probe.switches;
}

void* runThread(void* self)
{
  auto& object = *static_cast<Object*>(self);
  for (int32_t half = 0; object.running; half ^= 1)
    switchOnce(object.probe, half);
  return nullptr;
}

int32_t start(LoomDriver* self)
{
  int32_t result = answer(self, "start", ProbeDriver::atStart);
  Object& object = of(self);
  if (result == loomOk && object.probe.runs) {
    object.running = true;
    object.running = pthread_create(&object.thread, nullptr, runThread, &object) == 0;
  }
  return result;
}

int32_t stop(LoomDriver* self)
{
  int32_t result = answer(self, "stop", ProbeDriver::atStop);
  if (of(self).running.exchange(false))
    pthread_join(of(self).thread, nullptr);
  return result;
}

int32_t channels(LoomDriver* self, int32_t* inputs, int32_t* outputs)
{
  *inputs = of(self).probe.inputs;
  *outputs = of(self).probe.outputs;
  return answer(self, "getChannels", ProbeDriver::atChannels);
}

int32_t bufferSize(LoomDriver* self, int32_t* minimum, int32_t* maximum, int32_t* preferred,
                   int32_t* granularity)
{
  *minimum = *maximum = *granularity = 1;
  *preferred = of(self).probe.frames;
  return answer(self, "getBufferSize", ProbeDriver::atBufferSize);
}

int32_t getRate(LoomDriver* self, double* rate)
{
  *rate = of(self).probe.rate;
  return answer(self, "getSampleRate", ProbeDriver::noStep) == loomOk;
}

int32_t setRate(LoomDriver* self, double rate)
{
  of(self).probe.calls.add("setSampleRate %g", rate);
  of(self).probe.rate = of(self).probe.rateOnceSet;
  return loomOk;
}

int32_t samplePosition(LoomDriver* self, LoomCounter* position, LoomCounter* timeStamp)
{
  *position = of(self).probe.position;
  *timeStamp = of(self).probe.timeStamp;
  return of(self).probe.positionAnswer;
}

int32_t channelInfo(LoomDriver* self, LoomChannelInfo* info)
{
  info->type = of(self).probe.type[info->channel];
  std::snprintf(info->name, loomNameBytes, "Channel %d", info->channel);
  return loomOk;
}

int32_t createBuffers(LoomDriver* self, LoomBufferInfo* infos, int32_t count, int32_t frames,
                      const LoomCallbacks* callbacks)
{
  Object& object = of(self);
  object.probe.calls.add("createBuffers %d %d", count, frames);
  if (object.probe.failing == ProbeDriver::atCreateBuffers)
    return loomNoMemory;
  object.probe.callbacks = *callbacks;
  object.memory.assign(static_cast<size_t>(2 * count * frames), 0.0f);
  float* place = object.memory.data();
  for (int32_t i = 0; i < count; ++i)
    for (void*& half : infos[i].buffers) {
      half = place;
      place += frames;
    }
  std::copy(infos, infos + count, object.probe.buffers);
  object.probe.bufferCount = count;
  return loomOk;
}

int32_t disposeBuffers(LoomDriver* self)
{
  of(self).probe.calls.add("disposeBuffers");
  if (of(self).probe.disposeAnswer != loomOk)
    return of(self).probe.disposeAnswer;
  of(self).memory = {};
  of(self).probe.bufferCount = 0;
  return loomOk;
}

int32_t controlPanel(LoomDriver* self)
{
  return answer(self, "controlPanel", ProbeDriver::atStart);
}

int32_t outputReady(LoomDriver* self)
{
  ProbeDriver& probe = of(self).probe;
  ++probe.outputReadyCalls;
  if (probe.nested && probe.bufferCount > 0)
    probe.callbacks.bufferSwitch(1, 1);
  return probe.outputReadyAnswer;
}

const LoomDriverTable table = {
    refuse,       addRef,        release,        init,         driverName, driverVersion,
    errorMessage, start,         stop,           channels,     refuse,     bufferSize,
    refuse,       getRate,       setRate,        refuse,       refuse,     samplePosition,
    channelInfo,  createBuffers, disposeBuffers, controlPanel, refuse,     outputReady};

} // namespace

extern "C" LOOM_EXPORT ProbeDriver* probeDriver(int index)
{
  return &objects[index].probe;
}

extern "C" LOOM_EXPORT int32_t LoomCreateDriver(const uint8_t classId[16], void** driver)
{
  Object& object = objects[classId[0] % driverCount];
  object.probe.calls.add("create");
  object.interface.table = &table;
  *driver = object.probe.makes ? &object.interface : nullptr;
  return object.probe.makes ? loomOk : loomNotPresent;
}
