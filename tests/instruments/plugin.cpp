#include "instruments/plugin.h"

#include "shared/realtime_watch.h"

#include <algorithm>
#include <cmath>
#include <dlfcn.h>

namespace {

int64_t hostCallback(OrbEffect*, int32_t opcode, int32_t, int64_t, void*, float)
{
  return opcode == hostVersion ? 2400 : 0;
}

} // namespace

Plugin::Plugin(const char* path, float rate, int blockFrames)
{
  module_ = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!module_)
    return;
  const auto entry = reinterpret_cast<OrbPluginEntry>(dlsym(module_, "ORBPluginMain"));
  effect_ = entry ? entry(hostCallback) : nullptr;
  if (!effect_)
    return;
  call(opOpen);
  setRate(rate);
  setBlock(blockFrames);
}

Plugin::~Plugin()
{
  if (effect_)
    call(opClose);
  if (module_)
    dlclose(module_);
}

void Plugin::setBlock(int frames)
{
  blockFrames_ = frames;
  call(opSetBlockSize, 0, frames);
}

void Plugin::send(const std::vector<Message>& messages)
{
  std::vector<OrbMidiEventRecord> records(messages.size());
  std::vector<uint8_t> block(orbEventListBytes);
  auto& list = *reinterpret_cast<OrbEventList*>(block.data());
  list.count = static_cast<int32_t>(messages.size());
  for (size_t i = 0; i < messages.size(); ++i) {
    records[i] = {orbEventMidi,   orbMidiEventBytes, 0, {}, messages[i][0],
                  messages[i][1], messages[i][2],    {}};
    list.events[i] = &records[i];
  }
  const RealtimeWatch watch;
  call(opProcessEvents, 0, 0, &list);
}

Plugin::Sound Plugin::play(int frames, bool accumulating)
{
  const auto outputs = static_cast<size_t>(effect_->numOutputs);
  Sound sound(outputs, std::vector<float>(static_cast<size_t>(frames)));
  std::vector<float*> at(outputs);
  for (int from = 0; from < frames; from += blockFrames_) {
    for (size_t i = 0; i < outputs; ++i)
      at[i] = sound[i].data() + from;
    const int count = std::min(blockFrames_, frames - from);
    const RealtimeWatch watch;
    (accumulating ? effect_->processAccumulating : effect_->processReplacing)(effect_, nullptr,
                                                                              at.data(), count);
  }
  return sound;
}

std::vector<uint8_t> Plugin::chunk(int index)
{
  void* data = nullptr;
  const int64_t bytes = call(opGetChunk, index, index, &data);
  const auto* first = static_cast<const uint8_t*>(data);
  return data ? std::vector<uint8_t>(first, first + bytes) : std::vector<uint8_t>();
}

int64_t Plugin::setChunk(int index, const std::vector<uint8_t>& chunk)
{
  std::vector<uint8_t> exact(chunk); // so that a read beyond the end shows
  exact.shrink_to_fit();
  return call(opSetChunk, index, static_cast<int64_t>(exact.size()), exact.data());
}

std::string Plugin::programName(int program)
{
  char text[128] = {};
  call(opSetProgram, 0, program);
  return call(opGetProgramName, 0, 0, text) < 0 ? "" : text;
}

double pitchOf(const std::vector<float>& sound, size_t from, double rate)
{
  const size_t length = (sound.size() - from) / 2;
  const auto difference = [&](size_t lag) {
    double sum = 0;
    for (size_t i = from; i < from + length; ++i)
      sum += std::pow(sound[i] - sound[i + lag], 2);
    return sum;
  };
  const auto shortest = static_cast<size_t>(rate / 1500);
  const size_t longest = std::min(length, static_cast<size_t>(rate / 60));
  std::vector<double> by(longest + 1);
  double best = INFINITY, sum = 0;
  for (size_t lag = 1; lag <= longest; ++lag) {
    by[lag] = difference(lag);
    sum += by[lag];
    by[lag] *= static_cast<double>(lag) / sum; // so that tiny lags don't win
    if (lag >= shortest)
      best = std::min(best, by[lag]);
  }
  for (size_t lag = std::max<size_t>(shortest, 2); lag < longest; ++lag)
    if (by[lag] < best + 0.1 && by[lag] <= by[lag + 1] && by[lag] <= by[lag - 1]) {
      const double bow = by[lag - 1] - 2 * by[lag] + by[lag + 1];
      return rate / (static_cast<double>(lag) + (by[lag - 1] - by[lag + 1]) / (2 * bow));
    }
  return 0;
}

float peakOf(const std::vector<float>& sound, size_t from)
{
  float peak = 0;
  for (size_t i = from; i < sound.size(); ++i)
    peak = std::max(peak, std::fabs(sound[i]));
  return peak;
}
