#include "soundfont/instrument.h"

#include <algorithm>
#include <cstring>
#include <thread>
#include <utility>

namespace soundfont {

namespace {

constexpr int sustainPedal = 64;
constexpr int sostenutoPedal = 66;

/// Waits for the flag. For the main thread: the audio thread holds it for moments.
class Hold {
public:
  explicit Hold(std::atomic_flag& flag) : flag_(flag)
  {
    while (flag_.test_and_set(std::memory_order_acquire))
      std::this_thread::yield();
  }
  ~Hold() { flag_.clear(std::memory_order_release); }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

private:
  std::atomic_flag& flag_;
};

} // namespace

/// The audio thread's stay in one call. Of two threads that each raise their own flag and then look
/// at the other's, one at least sees it: hence the sequential order.
class Instrument::AudioTurn {
public:
  explicit AudioTurn(Instrument& instrument) : instrument_(instrument)
  {
    instrument_.inBlock_.store(true);
    granted_ = !instrument_.stopped_.load();
  }
  ~AudioTurn() { instrument_.inBlock_.store(false, std::memory_order_release); }
  AudioTurn(const AudioTurn&) = delete;
  AudioTurn& operator=(const AudioTurn&) = delete;
  bool granted() const { return granted_; }

private:
  Instrument& instrument_;
  bool granted_;
};

bool Instrument::load(const std::string& fontPath)
{
  if (!synth_.load(fontPath))
    return false;
  for (int i = 0; i < programCount; ++i) {
    std::string name = synth_.presetName(i).substr(0, longestName);
    main_.fontNames[i] = name.empty() ? "Program " + std::to_string(i + 1) : name;
  }
  exchange_.parameters = main_.parameters;
  exchange_.channels = synth_.channels();
  return true;
}

void Instrument::setParameter(size_t index, float value)
{
  if (index >= parameterCount || !(value >= 0.0f)) // the last is false for what is no number
    return;
  main_.parameters[index] = std::min(value, 1.0f);
  Hold hold(exchange_.taken);
  exchange_.parameters[index] = main_.parameters[index];
  exchange_.changedParameters |= 1u << index;
}

float Instrument::parameter(size_t index) const
{
  return index < parameterCount ? main_.parameters[index] : 0.0f;
}

void Instrument::setProgram(int program, uint16_t bank)
{
  if (program < 0 || program >= programCount)
    return;
  Hold hold(exchange_.taken);
  exchange_.program = program;
  exchange_.bank = bank;
}

int Instrument::program()
{
  Hold hold(exchange_.taken);
  return exchange_.program != noProgram ? exchange_.program : exchange_.channels[0].program;
}

void Instrument::setProgramName(int program, const char* name)
{
  if (program < 0 || program >= programCount || !name)
    return;
  main_.names[static_cast<uint8_t>(program)] = std::string(name, strnlen(name, longestName));
}

std::string Instrument::programName(int program) const
{
  if (const auto given = main_.names.find(static_cast<uint8_t>(program));
      given != main_.names.end())
    return given->second;
  return main_.fontNames[program];
}

std::vector<uint8_t>& Instrument::makeBankChunk()
{
  return main_.chunk = writeBank({main_.parameters, channelsAsAsked(), main_.names});
}

std::vector<uint8_t>& Instrument::makeProgramChunk()
{
  const ChannelState first = channelsAsAsked()[0];
  return main_.chunk = writeProgram({main_.parameters, first.program, first.bank});
}

bool Instrument::setBankChunk(const void* data, size_t bytes)
{
  std::optional<Bank> bank = readBank(data, bytes);
  if (!bank)
    return false;
  main_.parameters = bank->parameters;
  main_.names = std::move(bank->names);
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
  main_.on = true;
  restart(channelsAsAsked());
}

void Instrument::turnOff()
{
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
  if (synth_.takeChannelsChanged()) // what the audio thread could not yet leave here
    exchange_.channels = synth_.channels();
}

void Instrument::startAudio()
{
  stopped_.store(false);
}

/// Off, this only notes the state: turning on starts the synth with it.
void Instrument::restart(const ChannelStates& channels)
{
  stopAudio();
  {
    Hold hold(exchange_.taken);
    exchange_.channels = channels;
    exchange_.parameters = main_.parameters;
    exchange_.changedParameters = 0;
    exchange_.program = noProgram;
  }
  if (main_.on && synth_.begin(main_.sampleRate, main_.parameters, channels))
    startAudio();
}

/// The channels with the program that still waits to be taken.
ChannelStates Instrument::channelsAsAsked()
{
  Hold hold(exchange_.taken);
  ChannelStates channels = exchange_.channels;
  if (exchange_.program != noProgram) {
    channels[0].program = static_cast<uint8_t>(exchange_.program);
    channels[0].bank = channels[0].nextBank = exchange_.bank;
  }
  return channels;
}

/// Audio thread: takes what the main thread has left and leaves the channels' state in turn.
void Instrument::takeChanges()
{
  if (exchange_.taken.test_and_set(std::memory_order_acquire))
    return;
  for (size_t i = 0; exchange_.changedParameters != 0; ++i)
    if (const uint32_t bit = 1u << i; exchange_.changedParameters & bit) {
      synth_.setParameter(i, exchange_.parameters[i]);
      exchange_.changedParameters &= ~bit;
    }
  if (exchange_.program != noProgram)
    synth_.setProgram(static_cast<uint8_t>(std::exchange(exchange_.program, noProgram)),
                      exchange_.bank);
  if (synth_.takeChannelsChanged())
    exchange_.channels = synth_.channels();
  exchange_.taken.clear(std::memory_order_release);
}

void Instrument::playEvents(const OrbEventList& list)
{
  const AudioTurn turn(*this);
  if (!turn.granted())
    return;
  takeChanges();
  const int count = std::min<int>(list.count, orbMaxEvents);
  for (int i = 0; i < count; ++i) {
    const OrbMidiEventRecord* event = list.events[i];
    if (event && event->type == orbEventMidi)
      synth_.midi(event->status, event->data1, event->data2);
  }
}

void Instrument::render(float** outputs, int frames)
{
  const AudioTurn turn(*this);
  if (!turn.granted())
    return;
  takeChanges();
  synth_.render(outputs, frames);
}

} // namespace soundfont
