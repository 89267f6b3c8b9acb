/* The smallest complete LOOM driver: two channels of floats, played into nothing at the pace of the
 * clock. A template: where a device would be asked, a constant stands here, and where its samples
 * would be handed over, there is a comment.
 *
 * Build it by itself with
 *   cc -shared -fPIC -O2 -Isdk -o loom_null.so sdk/examples/null_driver/null_driver.c -lpthread
 */
#define _POSIX_C_SOURCE 200809L

#include "loom/loom.h"

#include <errno.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { outputs = 2, sampleRate = 48000, smallestBlock = 32, largestBlock = 4096, usualBlock = 256 };

static const uint64_t second = 1000000000u;

/* The GUID of the registration file in memory order: its first three groups little-endian. */
static const uint8_t nullClassId[16] = {0xb4, 0x9e, 0x3e, 0x27, 0x39, 0x96, 0x62, 0x4d,
                                        0x97, 0xa4, 0xf2, 0x89, 0x32, 0xc3, 0x05, 0xdf};

typedef struct NullDriver {
  LoomDriver interface; /* first, so that a LoomDriver* is a NullDriver* */
  atomic_uint references;

  /* Between createBuffers and disposeBuffers */
  LoomCallbacks callbacks;
  int usesTimeInfo;
  int frames;                /* of one half; 0: no buffers */
  float* halves[outputs][2]; /* NULL for a channel that the host didn't ask for */

  /* Between start and stop */
  int hasThread;
  pthread_t thread;
  atomic_int stopping;
  atomic_int insideSwitch;
  _Atomic uint64_t position;  /* frames since start */
  _Atomic uint64_t timeStamp; /* nanoseconds of the steady clock */
} NullDriver;

static NullDriver* of(LoomDriver* self)
{
  return (NullDriver*)self;
}

static LoomCounter counter(uint64_t value)
{
  LoomCounter result = {(uint32_t)(value >> 32), (uint32_t)value};
  return result;
}

static uint64_t now(void)
{
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return (uint64_t)time.tv_sec * second + (uint64_t)time.tv_nsec;
}

static void sleepUntil(uint64_t deadline)
{
  struct timespec time = {(time_t)(deadline / second), (long)(deadline % second)};
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, NULL) == EINTR) {}
}

/* ---- the driver's thread ------------------------------------------------------------------------
 */

/* The host fills one half of each buffer and has done so when this returns. */
static void announce(NullDriver* driver, int half)
{
  atomic_store(&driver->timeStamp, now());
  atomic_store(&driver->insideSwitch, 1);
  if (driver->usesTimeInfo) {
    LoomTimeRecord time = {0};
    time.speed = 1.0;
    time.timeStamp = counter(driver->timeStamp);
    time.samplePosition = counter(driver->position);
    driver->callbacks.bufferSwitchTimeInfo(&time, half, 1);
  } else {
    driver->callbacks.bufferSwitch(half, 1);
  }
  atomic_store(&driver->insideSwitch, 0);
}

static void* run(void* self)
{
  NullDriver* driver = self;
  uint64_t begin = now();
  uint64_t played = 0;
  int half = 0;
  while (!atomic_load(&driver->stopping)) {
    announce(driver, half);
    /* Here a real driver hands halves[channel][half] to its device, also when stop was called
     * within the switch: that block is the last. */
    half ^= 1;
    played += (uint64_t)driver->frames;
    atomic_store(&driver->position, played);
    /* Whole seconds apart from the rest: their product would overflow within the week. */
    sleepUntil(begin + played / sampleRate * second + played % sampleRate * second / sampleRate);
  }
  return NULL;
}

/* ---- the object ---------------------------------------------------------------------------------
 */

static uint32_t addRef(LoomDriver* self)
{
  return atomic_fetch_add(&of(self)->references, 1) + 1;
}

static int32_t queryInterface(LoomDriver* self, const uint8_t id[16], void** out)
{
  *out = NULL;
  if (memcmp(id, nullClassId, sizeof nullClassId) != 0)
    return loomNotPresent;
  addRef(self);
  *out = self;
  return loomOk;
}

static int32_t disposeBuffers(LoomDriver* self);

static uint32_t release(LoomDriver* self)
{
  uint32_t left = atomic_fetch_sub(&of(self)->references, 1) - 1;
  if (left == 0) {
    disposeBuffers(self);
    free(self);
  }
  return left;
}

/* ---- the device ---------------------------------------------------------------------------------
 */

static int32_t init(LoomDriver* self, void* systemHandle)
{
  (void)self, (void)systemHandle;
  return 1; /* the one operation that answers nonzero for success */
}

static void getDriverName(LoomDriver* self, char* name)
{
  (void)self;
  snprintf(name, loomNameBytes, "LOOM Null Driver");
}

static int32_t getDriverVersion(LoomDriver* self)
{
  return (void)self, 1;
}

static void getErrorMessage(LoomDriver* self, char* text)
{
  (void)self;
  text[0] = 0; /* nothing can fail here */
}

static int32_t getChannels(LoomDriver* self, int32_t* inputs, int32_t* outputs_)
{
  (void)self;
  *inputs = 0;
  *outputs_ = outputs;
  return loomOk;
}

static int32_t getLatencies(LoomDriver* self, int32_t* input, int32_t* output)
{
  *input = 0;
  *output = of(self)->frames ? of(self)->frames : usualBlock;
  return loomOk;
}

static int32_t getBufferSize(LoomDriver* self, int32_t* minimum, int32_t* maximum,
                             int32_t* preferred, int32_t* granularity)
{
  (void)self;
  *minimum = smallestBlock;
  *maximum = largestBlock;
  *preferred = usualBlock;
  *granularity = 1;
  return loomOk;
}

static int32_t canSampleRate(LoomDriver* self, double rate)
{
  return (void)self, rate == sampleRate ? loomOk : loomNoClock;
}

static int32_t getSampleRate(LoomDriver* self, double* rate)
{
  (void)self;
  *rate = sampleRate;
  return loomOk;
}

static int32_t setSampleRate(LoomDriver* self, double rate)
{
  return canSampleRate(self, rate);
}

static int32_t getClockSources(LoomDriver* self, void* clocks, int32_t* count)
{
  (void)self, (void)clocks;
  *count = 0;
  return loomNotPresent;
}

static int32_t setClockSource(LoomDriver* self, int32_t reference)
{
  return (void)self, (void)reference, loomNotPresent;
}

static int32_t getSamplePosition(LoomDriver* self, LoomCounter* position, LoomCounter* timeStamp)
{
  *position = counter(of(self)->position);
  *timeStamp = counter(of(self)->timeStamp);
  return loomOk;
}

static int32_t getChannelInfo(LoomDriver* self, LoomChannelInfo* info)
{
  if (info->isInput || info->channel < 0 || info->channel >= outputs)
    return loomBadParameter;
  info->isActive = of(self)->halves[info->channel][0] != NULL;
  info->group = 0;
  info->type = loomSample_float32;
  snprintf(info->name, loomNameBytes, "Nowhere %d", info->channel + 1);
  return loomOk;
}

/* ---- buffers and running ------------------------------------------------------------------------
 */

static int takesTimeInfo(const LoomCallbacks* host)
{
  return host->message && host->bufferSwitchTimeInfo &&
         host->message(loomSelectorSupported, loomSupportsTimeInfo) == 1 &&
         host->message(loomSupportsTimeInfo, 0) == 1;
}

static int32_t createBuffers(LoomDriver* self, LoomBufferInfo* infos, int32_t count, int32_t frames,
                             const LoomCallbacks* callbacks)
{
  NullDriver* driver = of(self);
  if (driver->frames)
    return loomBadMode;
  if (frames < smallestBlock || frames > largestBlock)
    return loomBadParameter;
  driver->frames = frames;
  driver->callbacks = *callbacks;
  driver->usesTimeInfo = takesTimeInfo(callbacks);
  for (int32_t i = 0; i < count; ++i) {
    LoomBufferInfo* info = &infos[i];
    if (info->isInput || info->channel < 0 || info->channel >= outputs ||
        driver->halves[info->channel][0]) {
      disposeBuffers(self);
      return loomBadParameter;
    }
    for (int half = 0; half < 2; ++half) { /* 4 bytes a sample whatever the type */
      info->buffers[half] = driver->halves[info->channel][half] = calloc((size_t)frames, 4);
      if (!info->buffers[half]) {
        disposeBuffers(self);
        return loomNoMemory;
      }
    }
  }
  return loomOk;
}

static int32_t start(LoomDriver* self)
{
  NullDriver* driver = of(self);
  if (!driver->frames || driver->hasThread)
    return loomBadMode;
  atomic_store(&driver->position, 0);
  atomic_store(&driver->stopping, 0);
  if (pthread_create(&driver->thread, NULL, run, driver) != 0)
    return loomNoMemory;
  driver->hasThread = 1;
  return loomOk;
}

static int32_t stop(LoomDriver* self)
{
  NullDriver* driver = of(self);
  atomic_store(&driver->stopping, 1);
  /* Called from within a buffer switch: the thread can't wait for itself. */
  if (atomic_load(&driver->insideSwitch) && pthread_equal(pthread_self(), driver->thread))
    return loomOk;
  if (driver->hasThread)
    pthread_join(driver->thread, NULL);
  driver->hasThread = 0;
  return loomOk;
}

static int32_t disposeBuffers(LoomDriver* self)
{
  NullDriver* driver = of(self);
  if (!driver->frames)
    return loomBadMode;
  stop(self);
  for (int channel = 0; channel < outputs; ++channel)
    for (int half = 0; half < 2; ++half) {
      free(driver->halves[channel][half]);
      driver->halves[channel][half] = NULL;
    }
  driver->frames = 0;
  return loomOk;
}

static int32_t controlPanel(LoomDriver* self)
{
  return (void)self, loomNotPresent;
}

static int32_t reserved(LoomDriver* self, int32_t selector, void* data)
{
  return (void)self, (void)selector, (void)data, loomNotPresent;
}

/* Not used: this driver has its block when the switch returns. */
static int32_t outputReady(LoomDriver* self)
{
  return (void)self, loomNotPresent;
}

static const LoomDriverTable table = {queryInterface,
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

LOOM_EXPORT int32_t LoomCreateDriver(const uint8_t classId[16], void** driver)
{
  NullDriver* object;
  *driver = NULL;
  if (memcmp(classId, nullClassId, sizeof nullClassId) != 0)
    return loomNotPresent;
  object = calloc(1, sizeof *object);
  if (!object)
    return loomNoMemory;
  object->interface.table = &table;
  object->references = 1;
  *driver = object;
  return loomOk;
}
