/* The sine example with a note of the moment in which its first block begins: nanoseconds of the
 * steady clock and the resident pages of the process, to the file that START_PROBE names. */
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#define ORBPluginMain sinePluginMain
#include "../sdk/examples/sine/sine.c"
#undef ORBPluginMain

static OrbProcess plainProcess;

static void firstProcess(OrbEffect* effect, float** inputs, float** outputs, int32_t frames)
{
  struct timespec now;
  char pages[128] = "";
  clock_gettime(CLOCK_MONOTONIC, &now);
  const int status = open("/proc/self/statm", O_RDONLY);
  if (status >= 0 && read(status, pages, sizeof pages - 1) > 0 && getenv("START_PROBE")) {
    FILE* file = fopen(getenv("START_PROBE"), "w");
    if (file) {
      fprintf(file, "%lld %s", (long long)now.tv_sec * 1000000000LL + now.tv_nsec, pages);
      fclose(file);
    }
  }
  close(status);
  effect->processReplacing = plainProcess;
  plainProcess(effect, inputs, outputs, frames);
}

ORB_EXPORT OrbEffect* ORBPluginMain(OrbHostCallback host);

OrbEffect* ORBPluginMain(OrbHostCallback host)
{
  OrbEffect* effect = sinePluginMain(host);
  if (effect) {
    plainProcess = effect->processReplacing;
    effect->processReplacing = firstProcess;
  }
  return effect;
}
