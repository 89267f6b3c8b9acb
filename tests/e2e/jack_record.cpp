// Records what a JACK client's out_1 and out_2 play: jack_record CLIENT SECONDS FILE
// Connects as soon as the ports appear; writes interleaved 32-bit floats. Its own small program, so
// that the test can compare what came through a real server with what was rendered into a file.
#include <jack/jack.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Recorder {
  jack_port_t* ports[2] = {};
  std::vector<float> samples;
  std::atomic<size_t> frames{0};
  std::atomic<bool> connected{false};
  size_t capacity = 0;
};

int process(jack_nframes_t count, void* context)
{
  auto& recorder = *static_cast<Recorder*>(context);
  size_t frames = recorder.frames.load(std::memory_order_relaxed);
  if (!recorder.connected.load(std::memory_order_acquire) || frames + count > recorder.capacity)
    return 0;
  const float* sides[2];
  for (int side : {0, 1})
    sides[side] = static_cast<const float*>(jack_port_get_buffer(recorder.ports[side], count));
  for (jack_nframes_t i = 0; i < count; ++i)
    for (int side : {0, 1})
      recorder.samples[(frames + i) * 2 + static_cast<size_t>(side)] = sides[side][i];
  recorder.frames.store(frames + count, std::memory_order_release);
  return 0;
}

} // namespace

int main(int count, char** values)
{
  if (count != 4)
    return 2;
  std::string source = values[1];
  jack_client_t* client = jack_client_open("recorder", JackNoStartServer, nullptr);
  if (!client)
    return 1;
  Recorder recorder;
  recorder.capacity = static_cast<size_t>(std::atof(values[2]) * jack_get_sample_rate(client));
  recorder.samples.resize(recorder.capacity * 2);
  const char* names[] = {"in_1", "in_2"};
  for (int side : {0, 1})
    recorder.ports[side] =
        jack_port_register(client, names[side], JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
  jack_set_process_callback(client, process, &recorder);
  if (jack_activate(client) != 0)
    return 1;
  std::printf("ready\n");
  std::fflush(stdout);
  auto pause = [] { std::this_thread::sleep_for(std::chrono::milliseconds(5)); };
  for (int side : {0, 1}) {
    std::string from = source + ":out_" + std::to_string(side + 1);
    while (!jack_port_by_name(client, from.c_str()) ||
           jack_connect(client, from.c_str(), jack_port_name(recorder.ports[side])) != 0)
      pause();
  }
  recorder.connected.store(true, std::memory_order_release);
  size_t period = jack_get_buffer_size(client);
  while (recorder.frames.load(std::memory_order_acquire) + period <= recorder.capacity)
    pause();
  jack_client_close(client);
  std::FILE* file = std::fopen(values[3], "wb");
  if (!file)
    return 1;
  std::fwrite(recorder.samples.data(), sizeof(float) * 2, recorder.frames, file);
  return std::fclose(file) == 0 ? 0 : 1;
}
