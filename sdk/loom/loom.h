/* LOOM: the binary interface between an audio driver and its host.
 *
 * A driver is a dynamic library with one exported function, LoomCreateDriver. It is named by a
 * registration file (docs/driver-makers.md) and answers with an object whose first field is a table
 * of functions. One object is in use at a time; the host calls init once, asks for channels, buffer
 * size and rate, creates buffers, starts, and takes the same way back.
 *
 * Audio goes out in blocks of two halves: while the device plays one half of each buffer, the host
 * fills the other. The driver announces the half to fill by LoomCallbacks::bufferSwitch.
 *
 * Every operation answers 0 for success and an error code otherwise, where nothing else is said.
 * All of them are called on the host's main thread but for getSamplePosition and outputReady, which
 * come on the thread of the buffer switch (outputReady also once after init, as a question), and
 * for stop, which may come on either.
 */
#ifndef LOOM_LOOM_H
#define LOOM_LOOM_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#define LOOM_ASSERT(condition) static_assert(condition, #condition)
#else
#define LOOM_ASSERT(condition) _Static_assert(condition, #condition)
#endif

#if defined(_WIN32)
#define LOOM_EXPORT __declspec(dllexport)
#else
#define LOOM_EXPORT __attribute__((visibility("default")))
#endif

enum LoomError {
  loomOk = 0,
  loomNotPresent = -1000, /* no hardware, no server, no driver */
  loomBadMode = -999,     /* wrong call order */
  loomBadParameter = -998,
  loomNoClock = -995, /* the device can't run at this rate */
  loomNoMemory = -994
};

/* ---- sample formats ---- */

/* X(name in settings, type number, bytes a sample in a file, big-endian)
 * The types with a number of bits behind the underscore are 32-bit containers of which that many
 * bits are used. The host packs their samples: 2 bytes each for 16 bits, 3 bytes each for 18, 20
 * and 24 bits, without gaps, in the first part of the buffer; the buffer still has room for 4 bytes
 * a sample. */
#define LOOM_SAMPLE_FORMATS(X)                                                                     \
  X(int16be, 0, 2, 1)                                                                              \
  X(int24be, 1, 3, 1)                                                                              \
  X(int32be, 2, 4, 1)                                                                              \
  X(float32be, 3, 4, 1)                                                                            \
  X(int32be_16, 8, 2, 1)                                                                           \
  X(int32be_18, 9, 3, 1)                                                                           \
  X(int32be_20, 10, 3, 1)                                                                          \
  X(int32be_24, 11, 3, 1)                                                                          \
  X(int16, 16, 2, 0)                                                                               \
  X(int24, 17, 3, 0)                                                                               \
  X(int32, 18, 4, 0)                                                                               \
  X(float32, 19, 4, 0)                                                                             \
  X(int32_16, 24, 2, 0)                                                                            \
  X(int32_18, 25, 3, 0)                                                                            \
  X(int32_20, 26, 3, 0)                                                                            \
  X(int32_24, 27, 3, 0)

#define LOOM_FORMAT_ENUM(name, type, bytes, big) loomSample_##name = type,
enum LoomSampleType { LOOM_SAMPLE_FORMATS(LOOM_FORMAT_ENUM) loomSampleTypes_ = 32 };
#undef LOOM_FORMAT_ENUM

/* ---- structures that travel ---- */

enum { loomMaxChannels = 128, loomNameBytes = 32, loomErrorBytes = 124, loomTimeRecordBytes = 148 };

typedef struct LoomChannelInfo {
  int32_t channel;  /* in: index from 0 */
  int32_t isInput;  /* in: 1 input, 0 output */
  int32_t isActive; /* 1 when it has buffers */
  int32_t group;
  int32_t type; /* LoomSampleType */
  char name[loomNameBytes];
} LoomChannelInfo;

typedef struct LoomBufferInfo {
  int32_t isInput;  /* in */
  int32_t channel;  /* in */
  void* buffers[2]; /* out: the two halves, room for 4 bytes a sample each */
} LoomBufferInfo;

/* A 64-bit count in two words. */
typedef struct LoomCounter {
  uint32_t high;
  uint32_t low;
} LoomCounter;

typedef struct LoomTimeRecord {
  int32_t reserved[4];
  double speed;
  LoomCounter timeStamp;      /* nanoseconds of the system's steady clock */
  LoomCounter samplePosition; /* frames since start */
  uint8_t further[112];       /* not looked at; the record is copied up to loomTimeRecordBytes */
} LoomTimeRecord;

enum LoomSelector {
  loomSelectorSupported = 1, /* is the selector in value known? 1 or 0 */
  loomEngineVersion = 2,     /* -> 2 */
  loomResetRequest = 3,      /* close and open the driver again, soon, on the main thread */
  loomSupportsTimeInfo = 7   /* -> 1: bufferSwitchTimeInfo may be called instead of bufferSwitch */
};

/* The host's functions. They carry no context: one device is open at a time. */
typedef struct LoomCallbacks {
  /* half: 0 or 1, the half to fill now. direct: 1 when the host may fill it on this thread before
   * it returns; otherwise it wakes a thread of its own and returns at once, and a block that finds
   * that thread busy is lost. A switch inside a switch is dropped. */
  void (*bufferSwitch)(int32_t half, int32_t direct);
  void (*sampleRateChanged)(double rate);
  int32_t (*message)(int32_t selector, int32_t value, ...); /* LoomSelector */
  LoomTimeRecord* (*bufferSwitchTimeInfo)(LoomTimeRecord* time, int32_t half, int32_t direct);
} LoomCallbacks;

/* ---- the driver object ---- */

typedef struct LoomDriver LoomDriver;

typedef struct LoomDriverTable {
  int32_t (*queryInterface)(LoomDriver* self, const uint8_t id[16], void** out);
  uint32_t (*addRef)(LoomDriver* self);
  uint32_t (*release)(LoomDriver* self); /* the last one frees the object */

  int32_t (*init)(LoomDriver* self, void* systemHandle); /* nonzero on success */
  void (*getDriverName)(LoomDriver* self, char* name);   /* loomNameBytes */
  int32_t (*getDriverVersion)(LoomDriver* self);         /* -> version */
  void (*getErrorMessage)(LoomDriver* self,
                          char* text); /* loomErrorBytes; why the last call failed */

  int32_t (*start)(LoomDriver* self);
  /* Returns after the last buffer switch has returned. Called from within a buffer switch it
   * returns at once, and that switch is the last one whose block is played. */
  int32_t (*stop)(LoomDriver* self);
  int32_t (*getChannels)(LoomDriver* self, int32_t* inputs, int32_t* outputs);
  int32_t (*getLatencies)(LoomDriver* self, int32_t* input, int32_t* output); /* frames */
  int32_t (*getBufferSize)(LoomDriver* self, int32_t* minimum, int32_t* maximum, int32_t* preferred,
                           int32_t* granularity); /* frames */
  int32_t (*canSampleRate)(LoomDriver* self, double rate);
  int32_t (*getSampleRate)(LoomDriver* self, double* rate); /* 0.0: not set yet */
  int32_t (*setSampleRate)(LoomDriver* self, double rate);
  int32_t (*getClockSources)(LoomDriver* self, void* clocks, int32_t* count);
  int32_t (*setClockSource)(LoomDriver* self, int32_t reference);
  int32_t (*getSamplePosition)(LoomDriver* self, LoomCounter* position, LoomCounter* timeStamp);
  int32_t (*getChannelInfo)(LoomDriver* self, LoomChannelInfo* info);
  int32_t (*createBuffers)(LoomDriver* self, LoomBufferInfo* infos, int32_t count, int32_t frames,
                           const LoomCallbacks* callbacks);
  int32_t (*disposeBuffers)(LoomDriver* self);
  int32_t (*controlPanel)(LoomDriver* self);
  int32_t (*reserved)(LoomDriver* self, int32_t selector, void* data); /* not called */
  int32_t (*outputReady)(LoomDriver* self); /* 0 when the driver uses it: the half is filled */
} LoomDriverTable;

struct LoomDriver {
  const LoomDriverTable* table;
};

/* The entry point: LOOM_EXPORT int32_t LoomCreateDriver(const uint8_t classId[16], void** driver);
 * 0 and a driver with one reference, or an error. The class id is in the memory order of a GUID. */
typedef int32_t (*LoomCreateDriverFunction)(const uint8_t classId[16], void** driver);

/* ---- what is fixed to the byte ---- */

LOOM_ASSERT(sizeof(LoomChannelInfo) == 52);
LOOM_ASSERT(offsetof(LoomChannelInfo, type) == 16);
LOOM_ASSERT(offsetof(LoomChannelInfo, name) == 20);
LOOM_ASSERT(sizeof(LoomBufferInfo) == 24);
LOOM_ASSERT(offsetof(LoomBufferInfo, buffers) == 8);
LOOM_ASSERT(sizeof(LoomCallbacks) == 32);
LOOM_ASSERT(offsetof(LoomTimeRecord, speed) == 16);
LOOM_ASSERT(offsetof(LoomTimeRecord, timeStamp) == 24);
LOOM_ASSERT(offsetof(LoomTimeRecord, samplePosition) == 32);
LOOM_ASSERT(sizeof(LoomTimeRecord) >= loomTimeRecordBytes);
LOOM_ASSERT(offsetof(LoomDriverTable, init) == 3 * 8);
LOOM_ASSERT(offsetof(LoomDriverTable, start) == 7 * 8);
LOOM_ASSERT(offsetof(LoomDriverTable, getBufferSize) == 11 * 8);
LOOM_ASSERT(offsetof(LoomDriverTable, getSamplePosition) == 17 * 8);
LOOM_ASSERT(offsetof(LoomDriverTable, createBuffers) == 19 * 8);
LOOM_ASSERT(offsetof(LoomDriverTable, outputReady) == 23 * 8);

#ifdef __cplusplus
}
#endif

#endif
