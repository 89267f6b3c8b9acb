// The probing plug-in. Output i of a block holds i + 1 plus a thousandth for each frame.
#include "probe/probe.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace {

ProbePlugin probe;

__attribute__((noinline, no_sanitize("undefined", "address", "thread"))) int
recurse(volatile char* up)
{
  volatile char frame[1024];
  frame[0] = *up;
  return *up ? recurse(frame) + frame[0] : 0;
}

__attribute__((no_sanitize("undefined", "address", "thread"))) void faultIf(int place)
{
  static volatile int zero = 0;
  static volatile int many = 100;
  if (place != probe.faultAt)
    return;
  if (probe.fault == probeThrows)
    throw std::runtime_error("probe");
  if (probe.fault == probeBadAccess)
    *reinterpret_cast<volatile int*>(static_cast<intptr_t>(zero) + 16) = 1;
  if (probe.fault == probeBadArithmetic)
    zero = many / zero;
  volatile char start = 1;
  if (probe.fault == probeOverflow)
    recurse(&start);
}

/// For the length of a call; a fault in it leaves it locked.
class Lock {
public:
  Lock()
  {
    while (probe.locks && probe.isLocked.exchange(true)) {}
  }
  ~Lock() { probe.isLocked = false; }
};

int64_t answerText(const char* text, void* out, int64_t filled, int64_t none)
{
  if (!text)
    return none;
  std::strcpy(static_cast<char*>(out), text);
  return filled;
}

int64_t answerProperties(int32_t output, OrbOutputProperties& properties)
{
  if (output < 0 || output >= ProbePlugin::maxOutputs)
    return 0;
  properties.flags = probe.outputFlags[output];
  properties.arrangement = probe.arrangement[output];
  if (probe.label[output])
    std::strcpy(properties.label, probe.label[output]);
  return 1;
}

void takeEvents(const OrbEventList& list)
{
  ++probe.eventLists;
  probe.eventCount = list.count;
  probe.firstRecord = list.events[0];
  for (int32_t i = 0; i < list.count && !probe.doesNothing; ++i)
    probe.events[i] = *list.events[i];
}

int64_t giveChunk(void* ptr)
{
  *static_cast<const void**>(ptr) = probe.chunk;
  return probe.chunkBytes;
}

int64_t takeChunk(const void* data, int64_t bytes)
{
  probe.takenBytes = bytes;
  std::memcpy(probe.taken, data, std::min(static_cast<size_t>(bytes), sizeof probe.taken));
  return 0;
}

int64_t answerLoad(const OrbBankInfo& info)
{
  probe.info = info;
  return probe.beginLoadAnswer;
}

void askForFile(OrbEffect* effect)
{
  std::memset(probe.fileInWork, 0, sizeof probe.fileInWork);
  probe.host(effect, hostChunkFile, 0, 0, probe.fileInWork, 0.0f);
}

bool hasProgram(int64_t program)
{
  return program >= 0 && program < ProbePlugin::maxPrograms;
}

int64_t dispatch(OrbEffect* effect, int32_t opcode, int32_t index, int64_t value, void* ptr,
                 float opt)
{
  Lock lock;
  if (opcode != opProcessEvents)
    probe.calls.add("%d %d %lld %g", opcode, index, static_cast<long long>(value),
                    static_cast<double>(opt));
  if (opcode == opGetChunk || opcode == opSetChunk || opcode == opBeginLoadBank ||
      opcode == opBeginLoadProgram)
    askForFile(effect);
  faultIf(opcode);
  switch (opcode) {
  case opSetProgram:
    probe.program = hasProgram(value) ? static_cast<int>(value) : 0;
    return 0;
  case opGetProgram:
    return probe.program;
  case opSetProgramName:
    std::snprintf(probe.names[hasProgram(index) ? index : 0], sizeof probe.names[0], "%s",
                  static_cast<const char*>(ptr));
    return 0;
  case opGetChunk:
    return giveChunk(ptr);
  case opSetChunk:
    return takeChunk(ptr, value);
  case opBeginLoadBank:
  case opBeginLoadProgram:
    return answerLoad(*static_cast<const OrbBankInfo*>(ptr));
  case opProcessEvents:
    takeEvents(*static_cast<OrbEventList*>(ptr));
    return 0;
  case opGetProgramName:
    return answerText(
        probe.names[probe.program][0] ? probe.names[probe.program] : probe.programName, ptr, 0, -1);
  case opGetProductString:
    return answerText(probe.productName, ptr, 1, 0);
  case opGetOutputProperties:
    return answerProperties(index, *static_cast<OrbOutputProperties*>(ptr));
  case opCanDo:
    return probe.wantsMidi && std::strcmp(static_cast<char*>(ptr), "receiveOrbMidiEvent") == 0;
  default:
    return 0;
  }
}

void setParameter(OrbEffect*, int32_t index, float value)
{
  probe.calls.add("= %d %g", index, static_cast<double>(value));
  faultIf(ProbePlugin::inParameter);
  if (index >= 0 && index < ProbePlugin::maxParams)
    probe.parameters[probe.program][index] = value;
}

float getParameter(OrbEffect*, int32_t index)
{
  faultIf(ProbePlugin::inParameter);
  return probe.parameters[probe.program][index % ProbePlugin::maxParams];
}

float levelOf(int output)
{
  return probe.levels ? probe.levels[output] : static_cast<float>(output + 1);
}

void render(float** outputs, int32_t frames, float kept)
{
  for (int output = 0; output < probe.effect.numOutputs; ++output)
    for (int32_t i = 0; i < frames; ++i)
      outputs[output][i] =
          kept * outputs[output][i] + levelOf(output) + static_cast<float>(i) * 0.001f;
}

void process(float** outputs, int32_t frames, float kept)
{
  if (probe.doesNothing)
    return;
  Lock lock;
  probe.inside = true;
  while (probe.hold) {}
  probe.frames = frames;
  faultIf(ProbePlugin::inProcess);
  render(outputs, frames, kept);
  probe.inside = false;
  ++probe.blocks;
}

void processReplacing(OrbEffect*, float**, float** outputs, int32_t frames)
{
  process(outputs, frames, 0.0f);
}

void processAccumulating(OrbEffect*, float**, float** outputs, int32_t frames)
{
  process(outputs, frames, 1.0f);
}

} // namespace

extern "C" ORB_EXPORT ProbePlugin* probePlugin()
{
  return &probe;
}

// The label stands in for the name, since the language keeps "main" for itself.
extern "C" ORB_EXPORT OrbEffect* probeEntry(OrbHostCallback host) __asm__(ORBI_PROBE_ENTRY);

OrbEffect* probeEntry(OrbHostCallback host)
{
  probe.host = host;
  if (probe.needsIdleInEntry)
    host(&probe.effect, hostNeedsIdle, 0, 0, nullptr, 0.0f);
  faultIf(ProbePlugin::inEntry);
  OrbEffect& effect = probe.effect;
  effect = {};
  effect.magic = orbMagic;
  effect.dispatcher = dispatch;
  effect.processAccumulating = processAccumulating;
  effect.processReplacing = processReplacing;
  effect.setParameter = setParameter;
  effect.getParameter = getParameter;
  effect.uniqueId = probe.uniqueId;
  effect.version = probe.version;
  effect.numPrograms = probe.numPrograms;
  effect.numParams = probe.numParams;
  effect.numInputs = probe.numInputs;
  effect.numOutputs = probe.numOutputs;
  effect.flags = probe.flags;
  return probe.isNull ? nullptr : &effect;
}
