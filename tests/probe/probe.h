// What the probing plug-in and the probing driver share with the tests: scripts that say how they
// behave and records of what they were asked. Knows the SDK only.
#pragma once

#include "loom/loom.h"
#include "orb/orb.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

enum ProbeFault { probeNoFault, probeThrows, probeBadAccess, probeBadArithmetic, probeOverflow };

/// Calls, one a line: "name numbers". What doesn't fit is left out.
struct ProbeRecord {
  char text[1 << 14] = {};
  size_t used = 0;

  void clear() { text[used = 0] = 0; }
  __attribute__((format(printf, 2, 3))) void add(const char* form, ...)
  {
    va_list arguments;
    va_start(arguments, form);
    int written = vsnprintf(text + used, sizeof text - used, form, arguments);
    va_end(arguments);
    if (written > 0 && used + static_cast<size_t>(written) + 2 < sizeof text) {
      used += static_cast<size_t>(written);
      text[used++] = '\n';
    }
    text[used] = 0;
  }
};

struct ProbePlugin {
  static constexpr int maxOutputs = 256;
  static constexpr int maxPrograms = 4;
  static constexpr int maxParams = 8;
  static constexpr int inEntry = -1;   ///< as faultAt, beside the opcodes
  static constexpr int inProcess = -2; ///< likewise
  static constexpr int inParameter = -3;

  // Script
  int numInputs = 0;
  int numOutputs = 2;
  int numPrograms = 0;
  int numParams = 0;
  int flags = orbHasReplacing;
  int uniqueId = 0x50726F62; ///< "Prob"
  int version = 100;
  int32_t outputFlags[maxOutputs] = {};
  int32_t arrangement[maxOutputs] = {};
  const char* label[maxOutputs] = {};
  const char* programName = nullptr; ///< null answers that there is none
  const char* productName = nullptr;
  const void* chunk = nullptr; ///< what it gives as one
  int64_t chunkBytes = 0;
  int64_t beginLoadAnswer = 0;     ///< to both questions
  bool isNull = false;             ///< no effect
  bool needsIdleInEntry = false;   ///< asks for idle before there is an effect
  bool wantsMidi = false;          ///< answers so to the question at opening
  int faultAt = 1000;              ///< opcode or one of the above
  ProbeFault fault = probeNoFault; ///< what happens there
  std::atomic<bool> hold{false};   ///< process doesn't return while this is set
  bool doesNothing = false;        ///< processReplacing returns at once
  bool locks = false;              ///< a lock, around every call; a fault leaves it held
  const float* levels = nullptr;   ///< of the outputs' first frames; null for i + 1

  // State of its programs: what is read is what was set
  int program = 0;
  float parameters[maxPrograms][maxParams] = {};
  char names[maxPrograms][64] = {}; ///< an empty one is programName

  // Record
  ProbeRecord calls;          ///< all but process and events; a parameter as "= index value"
  OrbBankInfo info = {};      ///< of the last question before a load
  uint8_t taken[64] = {};     ///< of the last chunk
  int64_t takenBytes = -1;    ///< its size
  char fileInWork[2048] = {}; ///< as the host told it at the last chunk or question
  OrbHostCallback host = nullptr;
  OrbEffect effect = {};
  std::atomic<int> blocks{0};
  std::atomic<bool> inside{false};
  std::atomic<bool> isLocked{false};
  int32_t frames = 0; ///< of the last block
  int eventLists = 0; ///< calls with events since the start
  int32_t eventCount = 0;
  OrbMidiEventRecord events[orbMaxEvents] = {}; ///< of the last list
  OrbMidiEventRecord* firstRecord = nullptr;
};

struct ProbeDriver {
  enum Step { noStep, atInit, atChannels, atBufferSize, atCreateBuffers, atStart, atStop };

  // Script
  bool makes = true; ///< whether there is an object at all
  int inputs = 0;
  int outputs = 2;
  int frames = 64;
  double rate = 48000.0;
  double rateOnceSet = 48000.0; ///< what it tells after setSampleRate
  int type[loomMaxChannels] = {};
  Step failing = noStep;
  int disposeAnswer = loomOk; ///< other than that keeps the buffers
  int outputReadyAnswer = loomNotPresent;
  bool nested = false; ///< switches again inside outputReady
  int direct = 1;
  bool runs = false; ///< start makes a thread that switches without a pause
  bool timeInfo = false;
  int positionAnswer = loomOk;
  LoomCounter position{0, 0};
  LoomCounter timeStamp{0, 0};

  // Record
  ProbeRecord calls;
  LoomCallbacks callbacks{};
  LoomBufferInfo buffers[2 * loomMaxChannels] = {};
  int bufferCount = 0;
  int outputReadyCalls = 0;
  std::atomic<int> switches{0};

  const void* buffer(int output, int half) const
  {
    for (int i = 0; i < bufferCount; ++i)
      if (!buffers[i].isInput && buffers[i].channel == output)
        return buffers[i].buffers[half];
    return nullptr;
  }
};

// Exported, beside the entries of the interfaces:
// extern "C" ProbePlugin* probePlugin();          the one plug-in
// extern "C" ProbeDriver* probeDriver(int index); the driver whose class id begins with index
