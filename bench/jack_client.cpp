// The peer that the player is measured against: the same voices in a plain JACK client, without any
// host around them. Prints the processor time that its process has used.
//
//   jack_client [--voices N] [--seconds S]

#include "sine_voice.h"

#include <jack/jack.h>

#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string_view>
#include <vector>

namespace {

constexpr int lowestNote = 48;
constexpr int mostVoices = 128;

struct Options {
  int voices = 16;
  int seconds = 10;
};

struct Synthesiser {
  jack_port_t* ports[2]{};
  std::vector<SineVoice> voices;
  std::atomic<long> blocks{0};
};

bool readNumber(std::string_view text, int maximum, int& value)
{
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc{} && end == text.data() + text.size() && value >= 0 && value <= maximum;
}

bool readOptions(int count, char** words, Options& options)
{
  for (int i = 1; i < count; i += 2) {
    const std::string_view name = words[i];
    const std::string_view value = i + 1 < count ? words[i + 1] : "";
    const bool known = (name == "--voices" && readNumber(value, mostVoices, options.voices)) ||
                       (name == "--seconds" && readNumber(value, 86400, options.seconds));
    if (!known)
      return false;
  }
  return true;
}

int process(jack_nframes_t frames, void* context)
{
  auto& synthesiser = *static_cast<Synthesiser*>(context);
  auto* left = static_cast<float*>(jack_port_get_buffer(synthesiser.ports[0], frames));
  auto* right = static_cast<float*>(jack_port_get_buffer(synthesiser.ports[1], frames));
  std::memset(left, 0, frames * sizeof(float));
  for (SineVoice& voice : synthesiser.voices)
    voice.render(left, static_cast<int>(frames));
  std::memcpy(right, left, frames * sizeof(float));
  synthesiser.blocks.fetch_add(1, std::memory_order_relaxed);
  return 0;
}

void startVoices(Synthesiser& synthesiser, int count, float sampleRate)
{
  synthesiser.voices.resize(count);
  for (int i = 0; i < count; ++i) {
    const float frequency = 440.0F * std::exp2((float(lowestNote + i) - 69.0F) / 12.0F);
    synthesiser.voices[i].start(frequency, 1.0F / float(count), sampleRate);
  }
}

void connectToSpeakers(jack_client_t* client, const Synthesiser& synthesiser)
{
  const char** speakers = jack_get_ports(client, nullptr, JACK_DEFAULT_AUDIO_TYPE,
                                         JackPortIsPhysical | JackPortIsInput);
  for (int i = 0; speakers && i < 2 && speakers[i]; ++i)
    jack_connect(client, jack_port_name(synthesiser.ports[i]), speakers[i]);
  jack_free(speakers);
}

void sleepSeconds(int seconds)
{
  timespec left{seconds, 0};
  while (nanosleep(&left, &left) != 0) {}
}

double processorSeconds()
{
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return double(time.tv_sec) + double(time.tv_nsec) * 1e-9;
}

} // namespace

int main(int count, char** words)
{
  Options options;
  if (!readOptions(count, words, options)) {
    std::fprintf(stderr, "usage: %s [--voices 0..%d] [--seconds S]\n", words[0], mostVoices);
    return 2;
  }
  const std::unique_ptr<jack_client_t, decltype(&jack_client_close)> client(
      jack_client_open("jack_client", JackNoStartServer, nullptr), &jack_client_close);
  if (!client) {
    std::fprintf(stderr, "no JACK server is running\n");
    return 1;
  }
  Synthesiser synthesiser;
  startVoices(synthesiser, options.voices, float(jack_get_sample_rate(client.get())));
  const char* names[] = {"out_1", "out_2"};
  for (int i = 0; i < 2; ++i)
    synthesiser.ports[i] =
        jack_port_register(client.get(), names[i], JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
  jack_set_process_callback(client.get(), process, &synthesiser);
  if (!synthesiser.ports[0] || !synthesiser.ports[1] || jack_activate(client.get()) != 0) {
    std::fprintf(stderr, "the JACK server refuses the client\n");
    return 1;
  }
  connectToSpeakers(client.get(), synthesiser);

  const double before = processorSeconds();
  sleepSeconds(options.seconds);
  std::printf("{\"voices\":%d,\"seconds\":%d,\"blocks\":%ld,\"cpu_seconds\":%.6f}\n",
              options.voices, options.seconds, synthesiser.blocks.load(),
              processorSeconds() - before);
  jack_deactivate(client.get());
  return 0;
}
