#include "soundfont/instrument.h"

#include "soundfont/finder.h"
#include "soundfont/hold.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace soundfont {

namespace {

constexpr int sustainPedal = 64;
constexpr int sostenutoPedal = 66;

} // namespace

/// A thread that still reads a file goes on for as long as that takes, and then finds nobody.
Instrument::~Instrument()
{
  bool reads;
  {
    const std::lock_guard lock(loading_->mutex);
    loading_->instrument = nullptr;
    loading_->next.reset();
    reads = loading_->runs;
  }
  if (reads && keepModule())
    loader_.detach();
  else if (loader_.joinable())
    loader_.join();
  delete next_.load();
  delete former_.load();
  delete audio_.coming;
}

bool Instrument::load(const std::string& fontPath)
{
  auto synth = std::make_unique<Synth>();
  if (!synth->load(fontPath))
    return false;
  const ParameterValues preset = presetParameters();
  std::copy(preset.begin(), preset.end(), parameters_.begin());
  exchange_.parameters = preset;
  exchange_.channels = synth->channels();
  main_.defaultFont = fontPath;
  useFont(*synth, fontPath);
  synth_ = std::move(synth);
  publish();
  return true;
}

void Instrument::setParameter(size_t index, float value)
{
  if (index >= parameterCount || !(value >= 0.0f)) // the last is false for what is no number
    return;
  Hold hold(exchange_.taken);
  parameters_[index] = exchange_.parameters[index] = std::min(value, 1.0f);
  exchange_.changedParameters |= 1u << index;
  activity_.changed();
}

float Instrument::parameter(size_t index) const
{
  return index < parameterCount ? parameters_[index].load(std::memory_order_relaxed) : 0.0f;
}

ParameterValues Instrument::parameters() const
{
  ParameterValues values;
  for (size_t i = 0; i < parameterCount; ++i)
    values[i] = parameter(i);
  return values;
}

void Instrument::setChannelProgram(int channel, int program, uint16_t bank)
{
  if (program < 0 || program >= programCount)
    return;
  Hold hold(exchange_.taken);
  exchange_.programs[channel] = {bank, static_cast<uint8_t>(program)};
  exchange_.changedPrograms |= 1u << channel;
  activity_.choose(channel, {bank, static_cast<uint8_t>(program)});
}

bool Instrument::pressKey(int channel, int key, int velocity)
{
  Hold hold(exchange_.taken);
  if (exchange_.keyCount + exchange_.keysHeld + 2 > keyRoom)
    return false;
  ++exchange_.keysHeld;
  exchange_.keys[exchange_.keyCount++] = {static_cast<uint8_t>(0x90 | channel),
                                          static_cast<uint8_t>(key),
                                          static_cast<uint8_t>(std::clamp(velocity, 1, 127))};
  return true;
}

void Instrument::releaseKey(int channel, int key)
{
  Hold hold(exchange_.taken);
  --exchange_.keysHeld;
  exchange_.keys[exchange_.keyCount++] = {static_cast<uint8_t>(0x80 | channel),
                                          static_cast<uint8_t>(key), 64};
}

int Instrument::program()
{
  Hold hold(exchange_.taken);
  return exchange_.changedPrograms & 1 ? exchange_.programs[0].program
                                       : exchange_.channels[0].program;
}

void Instrument::setProgramName(int program, const char* name)
{
  if (program < 0 || program >= programCount || !name)
    return;
  const std::lock_guard lock(loading_->mutex);
  main_.names[static_cast<uint8_t>(program)] = std::string(name, strnlen(name, longestName));
}

std::string Instrument::programName(int program) const
{
  const std::lock_guard lock(loading_->mutex);
  if (const auto given = main_.names.find(static_cast<uint8_t>(program));
      given != main_.names.end())
    return given->second;
  return main_.fontNames[program];
}

std::vector<uint8_t>& Instrument::makeBankChunk()
{
  const std::lock_guard lock(loading_->mutex);
  return main_.chunk = writeBank({parameters(), channelsAsAsked(), main_.names, fontOfBank()});
}

std::vector<uint8_t>& Instrument::makeProgramChunk()
{
  const std::lock_guard lock(loading_->mutex);
  const ChannelState first = channelsAsAsked()[0];
  return main_.chunk = writeProgram({parameters(), first.program, first.bank});
}

bool Instrument::setBankChunk(const void* data, size_t bytes)
{
  std::optional<Bank> bank = readBank(data, bytes);
  if (!bank)
    return false;
  const std::lock_guard lock(loading_->mutex);
  useFontOfBank(bank->font);
  std::copy(bank->parameters.begin(), bank->parameters.end(), parameters_.begin());
  main_.names = std::move(bank->names);
  stopAudio();
  {
    Hold hold(exchange_.taken);
    exchange_.changedPrograms = 0;
  }
  restart(bank->channels);
  return true;
}

bool Instrument::setProgramChunk(const void* data, size_t bytes)
{
  const std::optional<Program> program = readProgram(data, bytes);
  if (!program)
    return false;
  for (size_t i = 0; i < parameterCount; ++i)
    setParameter(i, program->parameters[i]);
  setProgram(program->program, program->bank);
  return true;
}

void Instrument::setSampleRate(float rate)
{
  const std::lock_guard lock(loading_->mutex);
  if (!(rate >= 1.0f) || rate == main_.sampleRate)
    return;
  main_.sampleRate = rate;
  if (!main_.on)
    return;
  stopAudio();
  restart(channelsAsAsked());
}

void Instrument::turnOn()
{
  const std::lock_guard lock(loading_->mutex);
  main_.on = true;
  restart(channelsAsAsked());
}

void Instrument::turnOff()
{
  const std::lock_guard lock(loading_->mutex);
  if (!main_.on)
    return;
  stopAudio();
  ChannelStates channels = channelsAsAsked();
  main_.on = false;
  // A foot may leave the pedal while nobody listens.
  for (ChannelState& channel : channels)
    channel.controllers[sustainPedal] = channel.controllers[sostenutoPedal] = 0;
  restart(channels);
}

void Instrument::stopAudio()
{
  stopped_.store(true);
  while (inBlock_.load())
    std::this_thread::yield();
  Hold hold(exchange_.taken);
  if (synth_->takeChannelsChanged()) // what the audio thread could not yet leave here
    exchange_.channels = synth_->channels();
}

void Instrument::startAudio()
{
  stopped_.store(false);
}

/// Off, this only notes the state: turning on starts the synth with it. Programs that still wait
/// are taken again, as another thread may have added to them.
void Instrument::restart(const ChannelStates& channels)
{
  stopAudio();
  ParameterValues values;
  {
    Hold hold(exchange_.taken);
    exchange_.channels = channels;
    exchange_.parameters = values = parameters();
    exchange_.changedParameters = 0;
    exchange_.keyCount = 0;
  }
  activity_.setVoices(0);
  for (int channel = 0; channel < channelCount; ++channel)
    activity_.releaseAll(channel);
  publish();
  if (main_.on && synth_->begin(main_.sampleRate, values, channels))
    startAudio();
}

/// The channels with the programs that still wait to be taken.
ChannelStates Instrument::channelsAsAsked()
{
  Hold hold(exchange_.taken);
  ChannelStates channels = exchange_.channels;
  for (int i = 0; i < channelCount; ++i)
    if (exchange_.changedPrograms & 1u << i) {
      channels[i].program = exchange_.programs[i].program;
      channels[i].bank = channels[i].nextBank = exchange_.programs[i].bank;
    }
  return channels;
}

/// Shows the channels' programs as they stand in exchange_.
void Instrument::publish()
{
  for (int i = 0; i < channelCount; ++i)
    activity_.choose(i, {exchange_.channels[i].bank, exchange_.channels[i].program});
}

} // namespace soundfont
