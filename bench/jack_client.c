/* The peer that the player is measured against: the voices of sdk/examples/sine in a plain JACK
 * client, with no host around them.
 *
 *   jack_client VOICES      plays until it is ended
 */
#include "../sdk/examples/sine/sine.c"

#include <jack/jack.h>
#include <unistd.h>

static jack_port_t* ports[2];
static OrbEffect* effect;

static int64_t answer(OrbEffect* caller, int32_t opcode, int32_t index, int64_t value, void* ptr,
                      float opt)
{
  (void)caller, (void)index, (void)value, (void)ptr, (void)opt;
  return opcode == hostVersion ? 2400 : 0;
}

static int process(jack_nframes_t frames, void* context)
{
  float* outputs[2];
  (void)context;
  for (int i = 0; i < 2; ++i)
    outputs[i] = (float*)jack_port_get_buffer(ports[i], frames);
  effect->processReplacing(effect, NULL, outputs, (int32_t)frames);
  return 0;
}

static void strike(int voices)
{
  static OrbEventList list;
  static OrbMidiEventRecord records[voiceCount];
  list.count = voices < voiceCount ? voices : voiceCount;
  for (int i = 0; i < list.count; ++i) {
    records[i].type = orbEventMidi;
    records[i].byteSize = orbMidiEventBytes;
    records[i].status = 0x90;
    records[i].data1 = (uint8_t)(48 + i);
    records[i].data2 = 20;
    list.events[i] = &records[i];
  }
  if (list.count > 0)
    effect->dispatcher(effect, opProcessEvents, 0, 0, &list, 0.0f);
}

int main(int count, char** values)
{
  jack_client_t* client = jack_client_open("plain_client", JackNoStartServer, NULL);
  if (!client || !(effect = ORBPluginMain(answer)))
    return 1;
  effect->dispatcher(effect, opOpen, 0, 0, NULL, 0.0f);
  effect->dispatcher(effect, opSetSampleRate, 0, 0, NULL, (float)jack_get_sample_rate(client));
  effect->dispatcher(effect, opSetBlockSize, 0, (int64_t)jack_get_buffer_size(client), NULL, 0.0f);
  effect->dispatcher(effect, opMainsChanged, 0, 1, NULL, 0.0f);
  strike(count > 1 ? atoi(values[1]) : 0);
  ports[0] = jack_port_register(client, "out_1", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
  ports[1] = jack_port_register(client, "out_2", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
  jack_set_process_callback(client, process, NULL);
  if (jack_activate(client) != 0)
    return 1;
  const char** playback =
      jack_get_ports(client, NULL, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | JackPortIsInput);
  for (int i = 0; i < 2 && playback && playback[i]; ++i)
    jack_connect(client, jack_port_name(ports[i]), playback[i]);
  jack_free(playback);
  for (;;)
    pause();
}
