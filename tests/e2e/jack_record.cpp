// Records what a JACK client's out_1 and out_2 play: jack_record CLIENT SECONDS FILE
// Connects as soon as the ports appear; writes interleaved 32-bit floats. Its own small program, so
// that the test can compare what came through a real server with what was rendered into a file.
#include "shared/jack_listener.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

int main(int count, char** values)
{
  JackListener recorder;
  if (count != 4 || !recorder.open("recorder", 2))
    return count == 4 ? 1 : 2;
  auto frames = static_cast<size_t>(std::atof(values[2]) * jack_get_sample_rate(recorder.client()));
  if (!recorder.activate(frames))
    return 1;
  std::printf("ready\n");
  std::fflush(stdout);
  auto pause = [] { std::this_thread::sleep_for(std::chrono::milliseconds(5)); };
  for (size_t side : {0, 1}) {
    std::string from = values[1] + (":out_" + std::to_string(side + 1));
    while (!jack_port_by_name(recorder.client(), from.c_str()) || !recorder.connect(from, side))
      pause();
  }
  recorder.listening = true;
  while (recorder.heard + jack_get_buffer_size(recorder.client()) <= frames)
    pause();
  std::FILE* file = std::fopen(values[3], "wb");
  if (!file)
    return 1;
  std::fwrite(recorder.samples.data(), sizeof(float) * 2, size_t(recorder.heard), file);
  return std::fclose(file) == 0 ? 0 : 1;
}
