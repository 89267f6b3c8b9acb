// The probing plug-in. Output i of a block holds i + 1 plus a thousandth for each frame.
#include "probe/probe.h"

#include <cstring>
#include <stdexcept>

namespace {

ProbePlugin probe;

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
}

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

int64_t dispatch(OrbEffect*, int32_t opcode, int32_t index, int64_t value, void* ptr, float opt)
{
  if (opcode != opProcessEvents)
    probe.calls.add("%d %d %lld %g", opcode, index, static_cast<long long>(value),
                    static_cast<double>(opt));
  faultIf(opcode);
  switch (opcode) {
  case opProcessEvents:
    takeEvents(*static_cast<OrbEventList*>(ptr));
    return 0;
  case opGetProgramName:
    return answerText(probe.programName, ptr, 0, -1);
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

void render(float** outputs, int32_t frames, float kept)
{
  for (int output = 0; output < probe.effect.numOutputs; ++output)
    for (int32_t i = 0; i < frames; ++i)
      outputs[output][i] = kept * outputs[output][i] + static_cast<float>(output + 1) +
                           static_cast<float>(i) * 0.001f;
}

void process(float** outputs, int32_t frames, float kept)
{
  if (probe.doesNothing)
    return;
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
  effect.numPrograms = probe.numPrograms;
  effect.numParams = probe.numParams;
  effect.numInputs = probe.numInputs;
  effect.numOutputs = probe.numOutputs;
  effect.flags = probe.flags;
  return probe.isNull ? nullptr : &effect;
}
