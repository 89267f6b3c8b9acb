/* An instrument that answers in the same block: an impulse at the frame of each note on.
 *
 * It also counts what the pitch wheels say, on which a peer counts upwards through all 14 bits, for
 * each channel by itself. At its close it writes a line a channel, with how many came and how many
 * of them weren't the next, and last the most events of a block, to the file that ANSWER names.
 */
#include "orb/orb.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { channels = 16, wheelSteps = 1 << 14, mostFrames = 8192 };

static struct {
  long count;
  long gaps;
  int next;
} heard[channels];
static int mostEvents;
static float answer[mostFrames]; /* of the block that comes */

static void hear(const OrbMidiEventRecord* record)
{
  const int channel = record->status & 15;
  if ((record->status & 0xF0) == 0xE0) {
    const int step = record->data1 | record->data2 << 7;
    ++heard[channel].count;
    heard[channel].gaps += step != heard[channel].next;
    heard[channel].next = (step + 1) % wheelSteps;
  } else if ((record->status & 0xF0) == 0x90 && record->data2 > 0 && record->sampleOffset >= 0 &&
             record->sampleOffset < mostFrames) {
    answer[record->sampleOffset] = 1.0f;
  }
}

static void report(void)
{
  const char* path = getenv("ANSWER");
  FILE* file = path ? fopen(path, "w") : NULL;
  if (!file)
    return;
  for (int i = 0; i < channels; ++i)
    fprintf(file, "%ld %ld\n", heard[i].count, heard[i].gaps);
  fprintf(file, "%d\n", mostEvents);
  fclose(file);
}

static int64_t dispatch(OrbEffect* effect, int32_t opcode, int32_t index, int64_t value, void* ptr,
                        float opt)
{
  (void)effect, (void)index, (void)value, (void)opt;
  if (opcode == opCanDo)
    return strcmp((const char*)ptr, "receiveOrbMidiEvent") == 0;
  if (opcode == opClose)
    report();
  if (opcode == opProcessEvents) {
    const OrbEventList* list = (const OrbEventList*)ptr;
    mostEvents = list->count > mostEvents ? list->count : mostEvents;
    for (int32_t i = 0; i < list->count; ++i)
      hear(list->events[i]);
  }
  return 0;
}

static void process(OrbEffect* effect, float** inputs, float** outputs, int32_t frames)
{
  const size_t bytes = (size_t)frames * sizeof(float);
  (void)effect, (void)inputs;
  for (int i = 0; i < 2; ++i)
    memcpy(outputs[i], answer, bytes);
  memset(answer, 0, bytes);
}

static void setParameter(OrbEffect* effect, int32_t index, float value)
{
  (void)effect, (void)index, (void)value;
}

static float getParameter(OrbEffect* effect, int32_t index)
{
  (void)effect, (void)index;
  return 0.0f;
}

ORB_EXPORT OrbEffect* ORBPluginMain(OrbHostCallback host);

OrbEffect* ORBPluginMain(OrbHostCallback host)
{
  static OrbEffect effect;
  (void)host;
  effect.magic = orbMagic;
  effect.dispatcher = dispatch;
  effect.processAccumulating = effect.processReplacing = process;
  effect.setParameter = setParameter;
  effect.getParameter = getParameter;
  effect.numOutputs = 2;
  effect.flags = orbHasReplacing;
  return &effect;
}
