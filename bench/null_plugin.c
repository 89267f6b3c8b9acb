/* An instrument with four outputs that does nothing: what is left of a run is the host's own share.
 */
#include "orb/orb.h"

static int64_t dispatch(OrbEffect* effect, int32_t opcode, int32_t index, int64_t value, void* ptr,
                        float opt)
{
  (void)effect, (void)opcode, (void)index, (void)value, (void)ptr, (void)opt;
  return 0;
}

static void process(OrbEffect* effect, float** inputs, float** outputs, int32_t frames)
{
  (void)effect, (void)inputs, (void)outputs, (void)frames;
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
  effect.numOutputs = 4;
  effect.flags = orbHasReplacing;
  return &effect;
}
