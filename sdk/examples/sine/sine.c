/* An ORB instrument in one file: sixteen sine voices on one stereo output.
 *
 * Read it from the bottom: ORBPluginMain makes the effect, dispatch answers the host's opcodes,
 * processReplacing renders a block. The file compiles as C11 and as C++20.
 */
#include "orb/orb.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { voiceCount = 16, channelCount = 16, programCount = 4, sliceFrames = 256 };
enum { paramVolume, paramAttack, paramRelease, paramCount };

static const float bendSemitones = 2.0f;
static const float voicePeak = 0.25f; /* of one voice at full velocity and volume */
static const float longestRampSeconds = 2.0f;
static const float shortestRampSeconds = 0.002f; /* below, notes would click */

/* ---- voices: the audio thread's ------------------------------------------------------------- */

typedef struct Voice {
  int active, released, heldByPedal;
  int channel, key;
  uint32_t age;   /* the number of its note, to find the oldest voice */
  uint32_t phase; /* a full turn is 2^32, so it wraps by itself */
  uint32_t phaseStep;
  float level;        /* of the envelope, 0 to peak */
  float levelStep;    /* per frame while rampFrames lasts */
  float target;       /* where the ramp ends */
  int32_t rampFrames; /* 0: the level stays */
} Voice;

typedef struct Program {
  char name[32];
  float params[paramCount]; /* 0 to 1; written by the main thread, read by the audio thread */
} Program;

typedef struct Sine {
  OrbEffect effect; /* first, so that the host's pointer is ours */
  Voice voices[voiceCount];
  uint32_t notes;
  float sampleRate;
  float volume;             /* what the last slice ended with, so that changes glide */
  float bend[channelCount]; /* frequency factor */
  int pedal[channelCount];
  Program programs[programCount];
  int32_t program;
} Sine;

static const Program factoryPrograms[programCount] = {
    {"Plain Sine", {0.7f, 0.002f, 0.05f}},
    {"Soft Flute", {0.7f, 0.03f, 0.12f}},
    {"Slow Glass", {0.7f, 0.3f, 0.6f}},
    {"Short Blip", {0.8f, 0.0f, 0.0f}},
};

static Sine* sineOf(OrbEffect* effect)
{
  return (Sine*)effect;
}

/* Parameters and the program's number cross threads: each is one word that changes whole. */
static float currentParam(const Sine* sine, int index)
{
  float value;
  const int32_t program = __atomic_load_n(&sine->program, __ATOMIC_RELAXED);
  __atomic_load(&sine->programs[program].params[index], &value, __ATOMIC_RELAXED);
  return value;
}

static float rampSeconds(const Sine* sine, int param)
{
  const float seconds = currentParam(sine, param) * longestRampSeconds;
  return seconds < shortestRampSeconds ? shortestRampSeconds : seconds;
}

static void rampTo(const Sine* sine, Voice* voice, float target, float seconds)
{
  voice->rampFrames = (int32_t)(seconds * sine->sampleRate) + 1;
  voice->target = target;
  voice->levelStep = (target - voice->level) / (float)voice->rampFrames;
}

static void tune(const Sine* sine, Voice* voice)
{
  const double hertz = 440.0 * pow(2.0, (voice->key - 69) / 12.0) * sine->bend[voice->channel];
  const double turns = hertz / sine->sampleRate; /* per frame; from a half on it is inaudible */
  voice->phaseStep = turns < 0.5 ? (uint32_t)(turns * 4294967296.0) : 0u;
}

static void release(const Sine* sine, Voice* voice)
{
  voice->released = 1;
  voice->heldByPedal = 0;
  rampTo(sine, voice, 0.0f, rampSeconds(sine, paramRelease));
}

/* A free voice, or else the oldest. A stolen one goes on from its level and phase: no click. */
static Voice* chooseVoice(Sine* sine)
{
  Voice* oldest = sine->voices;
  for (int i = 0; i < voiceCount; ++i) {
    Voice* voice = &sine->voices[i];
    if (!voice->active) {
      voice->level = 0.0f;
      voice->phase = 0;
      return voice;
    }
    if (sine->notes - voice->age > sine->notes - oldest->age)
      oldest = voice;
  }
  return oldest;
}

static void noteOn(Sine* sine, int channel, int key, int velocity)
{
  Voice* voice = chooseVoice(sine);
  voice->active = 1;
  voice->released = voice->heldByPedal = 0;
  voice->channel = channel;
  voice->key = key;
  voice->age = sine->notes++;
  tune(sine, voice);
  rampTo(sine, voice, voicePeak * (float)velocity / 127.0f, rampSeconds(sine, paramAttack));
}

static void noteOff(Sine* sine, int channel, int key)
{
  for (int i = 0; i < voiceCount; ++i) {
    Voice* voice = &sine->voices[i];
    if (!voice->active || voice->released || voice->channel != channel || voice->key != key)
      continue;
    if (sine->pedal[channel])
      voice->heldByPedal = 1;
    else
      release(sine, voice);
  }
}

static void pedalChanged(Sine* sine, int channel, int down)
{
  sine->pedal[channel] = down;
  for (int i = 0; i < voiceCount && !down; ++i) {
    Voice* voice = &sine->voices[i];
    if (voice->active && voice->heldByPedal && voice->channel == channel)
      release(sine, voice);
  }
}

static void releaseChannel(Sine* sine, int channel)
{
  for (int i = 0; i < voiceCount; ++i)
    if (sine->voices[i].active && sine->voices[i].channel == channel)
      release(sine, &sine->voices[i]);
}

static void cutChannel(Sine* sine, int channel)
{
  for (int i = 0; i < voiceCount; ++i)
    if (sine->voices[i].active && sine->voices[i].channel == channel) {
      sine->voices[i].released = 1;
      rampTo(sine, &sine->voices[i], 0.0f, shortestRampSeconds);
    }
}

static void pitchBend(Sine* sine, int channel, int value)
{
  sine->bend[channel] = powf(2.0f, bendSemitones * (float)(value - 8192) / 8192.0f / 12.0f);
  for (int i = 0; i < voiceCount; ++i)
    if (sine->voices[i].active && sine->voices[i].channel == channel)
      tune(sine, &sine->voices[i]);
}

static void controlChange(Sine* sine, int channel, int controller, int value)
{
  switch (controller) {
  case 64:
    pedalChanged(sine, channel, value >= 64);
    break;
  case 120:
    cutChannel(sine, channel);
    break;
  case 121:
    pedalChanged(sine, channel, 0);
    pitchBend(sine, channel, 8192);
    break;
  case 123:
    releaseChannel(sine, channel);
    break;
  default:
    break;
  }
}

static void handleMidi(Sine* sine, int status, int data1, int data2)
{
  const int channel = status & 0x0F;
  data1 &= 0x7F;
  data2 &= 0x7F;
  switch (status & 0xF0) {
  case 0x80:
    noteOff(sine, channel, data1);
    break;
  case 0x90:
    if (data2 > 0)
      noteOn(sine, channel, data1, data2);
    else
      noteOff(sine, channel, data1);
    break;
  case 0xB0:
    controlChange(sine, channel, data1, data2);
    break;
  case 0xE0:
    pitchBend(sine, channel, data1 | data2 << 7);
    break;
  default:
    break; /* what a sine has no use for */
  }
}

static void silence(Sine* sine)
{
  memset(sine->voices, 0, sizeof sine->voices);
  for (int i = 0; i < channelCount; ++i) {
    sine->bend[i] = 1.0f;
    sine->pedal[i] = 0;
  }
  sine->volume = currentParam(sine, paramVolume);
}

/* ---- rendering ------------------------------------------------------------------------------ */

/* The sine of a phase, to six digits: cos(pi v) for v = |x| - 1/2 by its series, under x's sign. */
static inline float sineOfPhase(uint32_t phase)
{
  const float x = (float)(int32_t)phase * (1.0f / 2147483648.0f); /* -1 to 1, half turns */
  const float v = fabsf(x) - 0.5f;
  const float w = v * v;
  const float y =
      1.0f +
      w * (-4.934802201f +
           w * (4.058712126f + w * (-1.335262769f + w * (0.235330630f + w * -0.025806891f))));
  return copysignf(y, x);
}

/* Adds one piece of a straight envelope. Nothing in the loop hangs on the frame before. */
static void addStretch(const Voice* voice, float* mix, int frames)
{
  const uint32_t phase = voice->phase;
  const uint32_t phaseStep = voice->phaseStep;
  const float level = voice->level;
  const float levelStep = voice->rampFrames > 0 ? voice->levelStep : 0.0f;
  for (int i = 0; i < frames; ++i)
    mix[i] += sineOfPhase(phase + (uint32_t)i * phaseStep) * (level + (float)i * levelStep);
}

static void addVoice(Voice* voice, float* mix, int frames)
{
  while (frames > 0 && voice->active) {
    int stretch = frames;
    if (voice->rampFrames > 0 && voice->rampFrames < stretch)
      stretch = voice->rampFrames;
    addStretch(voice, mix, stretch);
    voice->phase += (uint32_t)stretch * voice->phaseStep;
    if (voice->rampFrames > 0) {
      voice->rampFrames -= stretch;
      voice->level += (float)stretch * voice->levelStep;
      if (voice->rampFrames == 0) {
        voice->level = voice->target;
        voice->active = !voice->released;
      }
    }
    mix += stretch;
    frames -= stretch;
  }
}

/* Mixes the voices into mix; 0 when there are none and mix is untouched. */
static int renderSlice(Sine* sine, float* mix, int frames)
{
  const float goal = currentParam(sine, paramVolume);
  int sounding = 0;
  for (int i = 0; i < voiceCount; ++i) {
    if (!sine->voices[i].active)
      continue;
    if (!sounding++)
      memset(mix, 0, (size_t)frames * sizeof *mix);
    addVoice(&sine->voices[i], mix, frames);
  }
  if (sounding) {
    const float from = sine->volume;
    const float step = (goal - from) / (float)frames;
    for (int i = 0; i < frames; ++i)
      mix[i] *= from + (float)i * step;
  }
  sine->volume = goal;
  return sounding;
}

static void processReplacing(OrbEffect* effect, float** inputs, float** outputs, int32_t frames)
{
  Sine* sine = sineOf(effect);
  (void)inputs;
  for (int32_t at = 0; at < frames; at += sliceFrames) {
    const int count = frames - at < sliceFrames ? frames - at : sliceFrames;
    float* left = outputs[0] + at;
    if (!renderSlice(sine, left, count))
      memset(left, 0, (size_t)count * sizeof *left);
    memcpy(outputs[1] + at, left, (size_t)count * sizeof *left);
  }
}

static void processAccumulating(OrbEffect* effect, float** inputs, float** outputs, int32_t frames)
{
  Sine* sine = sineOf(effect);
  float mix[sliceFrames];
  (void)inputs;
  for (int32_t at = 0; at < frames; at += sliceFrames) {
    const int count = frames - at < sliceFrames ? frames - at : sliceFrames;
    if (!renderSlice(sine, mix, count))
      continue;
    for (int channel = 0; channel < 2; ++channel)
      for (int i = 0; i < count; ++i)
        outputs[channel][at + i] += mix[i];
  }
}

/* ---- the host's calls ----------------------------------------------------------------------- */

static void setParameter(OrbEffect* effect, int32_t index, float value)
{
  Sine* sine = sineOf(effect);
  if (index < 0 || index >= paramCount || !(value >= 0.0f)) /* the last is false for no-numbers */
    return;
  value = value > 1.0f ? 1.0f : value;
  __atomic_store(&sine->programs[sine->program].params[index], &value, __ATOMIC_RELAXED);
}

static float getParameter(OrbEffect* effect, int32_t index)
{
  return index >= 0 && index < paramCount ? currentParam(sineOf(effect), index) : 0.0f;
}

static void processEvents(Sine* sine, const OrbEventList* list)
{
  for (int32_t i = 0; list && i < list->count && i < orbMaxEvents; ++i) {
    const OrbMidiEventRecord* event = list->events[i];
    if (event->type == orbEventMidi)
      handleMidi(sine, event->status, event->data1, event->data2);
  }
}

static int64_t describeOutput(int32_t index, OrbOutputProperties* properties)
{
  if (!properties || index < 0 || index > 1)
    return 0;
  snprintf(properties->label, sizeof properties->label, "Main");
  properties->flags = index == 0 ? orbOutputStereo : 0;
  return 1;
}

static int64_t copyText(void* to, size_t bytes, const char* text)
{
  if (!to)
    return 0;
  snprintf((char*)to, bytes, "%s", text);
  return 1;
}

static int64_t dispatch(OrbEffect* effect, int32_t opcode, int32_t index, int64_t value, void* ptr,
                        float opt)
{
  Sine* sine = sineOf(effect);
  switch (opcode) {
  case opClose:
    free(sine);
    return 0;
  case opSetProgram:
    if (value >= 0 && value < programCount)
      __atomic_store_n(&sine->program, (int32_t)value, __ATOMIC_RELAXED);
    return 0;
  case opGetProgram:
    return sine->program;
  case opSetProgramName:
    if (index >= 0 && index < programCount && ptr)
      copyText(sine->programs[index].name, sizeof sine->programs[index].name, (const char*)ptr);
    return 0;
  case opGetProgramName:
    return copyText(ptr, 128, sine->programs[sine->program].name) ? 0 : -1;
  case opSetSampleRate:
    if (opt >= 1000.0f) {
      sine->sampleRate = opt;
      silence(sine);
    }
    return 0;
  case opSetBlockSize:
    return 0; /* any number of frames is welcome */
  case opMainsChanged:
    silence(sine);
    return 0;
  case opProcessEvents:
    processEvents(sine, (const OrbEventList*)ptr);
    return 1;
  case opGetOutputProperties:
    return describeOutput(index, (OrbOutputProperties*)ptr);
  case opGetProductString:
    return copyText(ptr, 64, "Sine");
  case opCanDo:
    return ptr && strcmp((const char*)ptr, "receiveOrbMidiEvent") == 0;
  default:
    return 0;
  }
}

static Sine* createSine(void)
{
  Sine* sine = (Sine*)calloc(1, sizeof *sine);
  if (!sine)
    return NULL;
  OrbEffect* effect = &sine->effect;
  effect->magic = orbMagic;
  effect->dispatcher = dispatch;
  effect->processAccumulating = processAccumulating;
  effect->processReplacing = processReplacing;
  effect->setParameter = setParameter;
  effect->getParameter = getParameter;
  effect->numPrograms = programCount;
  effect->numParams = paramCount;
  effect->numOutputs = 2;
  effect->flags = orbHasReplacing;
  effect->uniqueId = 0x53696E45; /* "SinE" */
  effect->version = 1000;
  memcpy(sine->programs, factoryPrograms, sizeof factoryPrograms);
  sine->sampleRate = 44100.0f;
  silence(sine);
  return sine;
}

#ifdef __cplusplus
extern "C"
#endif
    ORB_EXPORT OrbEffect*
    ORBPluginMain(OrbHostCallback host);

OrbEffect* ORBPluginMain(OrbHostCallback host)
{
  Sine* sine;
  if (!host || host(NULL, hostVersion, 0, 0, NULL, 0.0f) < 2400)
    return NULL;
  sine = createSine();
  return sine ? &sine->effect : NULL;
}
