#include "soundfont/synth.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <tuple>
#include <utility>

namespace soundfont {

namespace {

// FluidSynth deals a channel's sound to group (channel modulo groups). Twice the channels and two
// groups let the drums, alone on an odd channel, have an output and effects of their own, at the
// cost of two effect units instead of ten.
constexpr int synthChannels = 32;
constexpr int groups = 2;
constexpr double highestRate = 96000.0; // of FluidSynth; above, its output is doubled
constexpr double lowestRate = 8000.0;
constexpr int quietFramesToSleep = 32768; // longer than any echo in reverb and chorus
constexpr float quiet = 1e-7f;

constexpr int allEffects = -1; // both groups'

enum Controller {
  bankHigh = 0,
  dataHigh = 6,
  bankLow = 32,
  dataLow = 38,
  portamentoStart = 84,
  dataUp = 96,
  dataDown = 97,
  nonRegisteredLow = 98,
  nonRegisteredHigh = 99,
  registeredLow = 100,
  registeredHigh = 101,
  firstModeMessage = 120,
  resetControllers = 121,
  allNotesOff = 123,
  omniOff = 124
};

constexpr int toSynth(int channel)
{
  return channel == drumChannel ? drumChannel : 2 * (channel < drumChannel ? channel : channel - 1);
}

constexpr uint8_t soundFontNumbers = 120; // NRPN, high byte: the low ones add up to a generator's
constexpr int noGenerator = 100;

/// Controllers that a value alone restores; the others do something when they come. The key where
/// portamento starts counts for the next note only and mostly is none, which can't be sent.
constexpr bool isPlain(int controller)
{
  return controller != bankHigh && controller != bankLow && controller != dataHigh &&
         controller != dataLow && (controller < dataUp || controller > registeredHigh) &&
         controller != portamentoStart && controller < firstModeMessage;
}

/// The one byte that selects what low bytes selected one after the other.
uint8_t selectedBy(int before, int value)
{
  return static_cast<uint8_t>(std::min(before + (value <= 102 ? value : 0), noGenerator));
}

bool isOn(double value)
{
  return value >= 0.5;
}

/// One row a parameter, in the order of Parameter.
using Setter = void (*)(fluid_synth_t*, double);
constexpr std::array<Setter, parameterCount> setters{{
    [](fluid_synth_t* s, double v) { fluid_synth_set_gain(s, static_cast<float>(v)); },
    [](fluid_synth_t* s, double v) { fluid_synth_reverb_on(s, allEffects, isOn(v)); },
    [](fluid_synth_t* s, double v) { fluid_synth_set_reverb_group_roomsize(s, allEffects, v); },
    [](fluid_synth_t* s, double v) { fluid_synth_set_reverb_group_damp(s, allEffects, v); },
    [](fluid_synth_t* s, double v) { fluid_synth_set_reverb_group_width(s, allEffects, v); },
    [](fluid_synth_t* s, double v) { fluid_synth_set_reverb_group_level(s, allEffects, v); },
    [](fluid_synth_t* s, double v) { fluid_synth_chorus_on(s, allEffects, isOn(v)); },
    [](fluid_synth_t* s, double v) {
      fluid_synth_set_chorus_group_nr(s, allEffects, static_cast<int>(std::lround(v)));
    },
    [](fluid_synth_t* s, double v) { fluid_synth_set_chorus_group_level(s, allEffects, v); },
    [](fluid_synth_t* s, double v) { fluid_synth_set_chorus_group_speed(s, allEffects, v); },
    [](fluid_synth_t* s, double v) { fluid_synth_set_chorus_group_depth(s, allEffects, v); },
}};

void saysNothing(int, const char*, void*) {}

void beQuiet()
{
  for (int level = FLUID_PANIC; level <= FLUID_DBG; ++level)
    fluid_set_log_function(level, saysNothing, nullptr);
}

} // namespace

bool isSoundFont(const std::string& path)
{
  std::error_code error;
  return std::filesystem::is_regular_file(path, error) && fluid_is_soundfont(path.c_str());
}

Synth::~Synth() = default;

bool Synth::makeSettings()
{
  beQuiet();
  const char* noDrivers[] = {nullptr}; // else each audio library would be asked for its devices
  fluid_audio_driver_register(noDrivers);
  settings_.reset(new_fluid_settings());
  if (!settings_)
    return false;
  const struct {
    const char* name;
    int value;
  } numbers[] = {
      {"synth.midi-channels", synthChannels},
      {"synth.audio-channels", groups},
      {"synth.audio-groups", groups},
      {"synth.effects-groups", groups},
      {"synth.polyphony", 256},
      {"synth.cpu-cores", 1},
      {"synth.threadsafe-api", 0},
      {"synth.dynamic-sample-loading", 0},
  };
  for (const auto& number : numbers)
    fluid_settings_setint(settings_.get(), number.name, number.value);
  return true;
}

bool Synth::load(const std::string& path)
{
  if (!makeSettings())
    return false;
  SynthPointer synth(new_fluid_synth(settings_.get()));
  if (!synth || fluid_synth_sfload(synth.get(), path.c_str(), 1) < 0)
    return false;
  font_ = fluid_synth_get_sfont(synth.get(), 0);
  synth_ = std::move(synth);
  for (int channel = 0; channel < channelCount; ++channel)
    readBack(channel);
  channels_[drumChannel].bank = channels_[drumChannel].nextBank = drumBank;
  return font_ != nullptr;
}

std::string Synth::presetName(int program) const
{
  fluid_preset_t* preset = fluid_sfont_get_preset(font_, 0, program);
  const char* name = preset ? fluid_preset_get_name(preset) : nullptr;
  return name ? name : "";
}

std::vector<Preset> Synth::presets() const
{
  std::vector<Preset> presets;
  fluid_sfont_iteration_start(font_);
  while (fluid_preset_t* preset = fluid_sfont_iteration_next(font_)) {
    const int bank = fluid_preset_get_banknum(preset);
    const int program = fluid_preset_get_num(preset);
    const char* name = fluid_preset_get_name(preset);
    if (bank >= 0 && bank <= highestBank && program >= 0 && program < programCount)
      presets.push_back({static_cast<uint16_t>(bank), static_cast<uint8_t>(program),
                         std::string(name ? name : "").substr(0, longestName)});
  }
  std::stable_sort(presets.begin(), presets.end(), [](const Preset& a, const Preset& b) {
    return std::tie(a.bank, a.program) < std::tie(b.bank, b.program);
  });
  return presets;
}

bool Synth::begin(double sampleRate, const ParameterValues& parameters,
                  const ChannelStates& channels)
{
  const bool doubled = sampleRate > highestRate;
  const double rate = std::clamp(doubled ? sampleRate / 2 : sampleRate, lowestRate, highestRate);
  fluid_settings_setnum(settings_.get(), "synth.sample-rate", rate);
  SynthPointer fresh(new_fluid_synth(settings_.get()));
  if (!fresh)
    return false;
  fluid_synth_all_sounds_off(synth_.get(), -1);
  fluid_synth_remove_sfont(synth_.get(), font_); // the font moves on, its samples stay loaded
  fluid_synth_add_sfont(fresh.get(), font_);
  synth_ = std::move(fresh);

  for (size_t i = 0; i < parameterCount; ++i)
    setParameter(i, parameters[i]);
  for (int channel = 0; channel < channelCount; ++channel)
    restore(channel, channels[channel]);
  channels_ = channels;
  channelsChanged_ = true;
  doubled_ = doubled;
  for (Doubler& doubler : doublers_)
    doubler.reset();
  carries_ = false;
  quietFrames_ = 0;
  return true;
}

/// Repeats to the synth what brought a channel to this state.
void Synth::restore(int channel, const ChannelState& state)
{
  const int to = toSynth(channel);
  fluid_synth_t* synth = synth_.get();
  fluid_synth_bank_select(synth, to, state.bank);
  fluid_synth_program_change(synth, to, state.program);
  fluid_synth_bank_select(synth, to, state.nextBank);
  for (int i = 0; i < static_cast<int>(controllerCount); ++i)
    if (isPlain(i))
      fluid_synth_cc(synth, to, i, state.controllers[i]);
  const auto repeat = [&](int controller) {
    fluid_synth_cc(synth, to, controller, state.controllers[controller]);
  };
  // Data goes to no number at first, so that it is remembered and does nothing.
  fluid_synth_cc(synth, to, registeredHigh, 127);
  fluid_synth_cc(synth, to, registeredLow, 127);
  repeat(dataLow);
  repeat(dataHigh);
  for (int pair : {state.numberIsNonRegistered ? registeredLow : nonRegisteredLow,
                   state.numberIsNonRegistered ? nonRegisteredLow : registeredLow}) {
    repeat(pair + 1);
    repeat(pair);
  }
  fluid_synth_pitch_wheel_sens(synth, to, state.bendRange);
  fluid_synth_pitch_bend(synth, to, state.bend);
  fluid_synth_channel_pressure(synth, to, state.pressure);
  for (int i = 0; i < static_cast<int>(std::min<size_t>(generatorCount, GEN_LAST)); ++i)
    if (state.generators[i] != 0.0f)
      fluid_synth_set_gen(synth, to, i, state.generators[i]);
}

void Synth::setParameter(size_t index, float value)
{
  parameters_[index] = value;
  setters[index](synth_.get(), inSynthUnit(index, value));
  quietFrames_ = 0; // effects take changes while they run
}

void Synth::setProgram(int channel, uint8_t program, uint16_t bank)
{
  fluid_synth_bank_select(synth_.get(), toSynth(channel), bank);
  channels_[channel].nextBank = bank;
  programChange(channel, program);
}

void Synth::takeOver(const Synth& former)
{
  for (size_t i = 0; i < parameterCount; ++i)
    if (parameters_[i] != former.parameters_[i])
      setParameter(i, former.parameters_[i]);
  for (int channel = 0; channel < channelCount; ++channel)
    if (channels_[channel] != former.channels_[channel]) {
      for (int i = 0; i < static_cast<int>(std::min<size_t>(generatorCount, GEN_LAST)); ++i)
        if (channels_[channel].generators[i] != 0.0f)
          fluid_synth_set_gen(synth_.get(), toSynth(channel), i, 0.0f);
      restore(channel, former.channels_[channel]);
    }
  channels_ = former.channels_;
  channelsChanged_ = true;
}

int Synth::voices() const
{
  return fluid_synth_get_active_voice_count(synth_.get());
}

void Synth::programChange(int channel, int program)
{
  fluid_synth_program_change(synth_.get(), toSynth(channel), program);
  channels_[channel].bank = channels_[channel].nextBank;
  channels_[channel].program = static_cast<uint8_t>(program);
  channelsChanged_ = true;
}

void Synth::controlChange(int channel, int controller, int value)
{
  // Mono and omni modes would regroup the synth's channels; what remains of them is "notes off".
  if (controller >= omniOff) {
    controller = allNotesOff;
    value = 0;
  }
  fluid_synth_cc(synth_.get(), toSynth(channel), controller, value);
  ChannelState& state = channels_[channel];
  switch (controller) {
  case bankHigh:
  case bankLow: {
    int font = 0, bank = 0, program = 0;
    fluid_synth_get_program(synth_.get(), toSynth(channel), &font, &bank, &program);
    state.nextBank = static_cast<uint16_t>(bank);
    break;
  }
  case nonRegisteredLow:
    state.numberIsNonRegistered = true;
    if (state.controllers[nonRegisteredHigh] == soundFontNumbers)
      value = selectedBy(state.controllers[nonRegisteredLow], value);
    break;
  case nonRegisteredHigh:
    state.numberIsNonRegistered = true;
    state.controllers[nonRegisteredLow] = 0;
    break;
  case registeredLow:
  case registeredHigh:
    state.numberIsNonRegistered = false;
    break;
  default:
    break;
  }
  if (controller == dataHigh || controller == dataLow || controller == dataUp ||
      controller == dataDown) {
    uint8_t selected = state.controllers[nonRegisteredLow];
    readBack(channel);
    // With its data a generator's number is spent.
    if (controller == dataHigh && state.numberIsNonRegistered &&
        state.controllers[nonRegisteredHigh] == soundFontNumbers)
      selected = 0;
    state.controllers[nonRegisteredLow] = selected;
  } else if (controller == resetControllers) {
    state.numberIsNonRegistered = false;
    readBack(channel);
  } else if (controller < firstModeMessage && controller != portamentoStart) {
    state.controllers[controller] = static_cast<uint8_t>(value);
  }
  channelsChanged_ = true;
}

/// For messages that change more than they name.
void Synth::readBack(int channel)
{
  const int from = toSynth(channel);
  fluid_synth_t* synth = synth_.get();
  ChannelState& state = channels_[channel];
  int value = 0;
  for (int i = 0; i < static_cast<int>(controllerCount); ++i)
    if (i < firstModeMessage && i != portamentoStart &&
        fluid_synth_get_cc(synth, from, i, &value) == FLUID_OK)
      state.controllers[i] = static_cast<uint8_t>(value & 127);
  if (fluid_synth_get_pitch_bend(synth, from, &value) == FLUID_OK)
    state.bend = static_cast<uint16_t>(value);
  if (fluid_synth_get_pitch_wheel_sens(synth, from, &value) == FLUID_OK)
    state.bendRange = static_cast<uint8_t>(std::clamp(value, 0, 127));
  for (int i = 0; i < static_cast<int>(std::min<size_t>(generatorCount, GEN_LAST)); ++i)
    state.generators[i] = fluid_synth_get_gen(synth, from, i);
}

void Synth::midi(uint8_t status, uint8_t data1, uint8_t data2)
{
  const int channel = status & 0x0F;
  const int to = toSynth(channel);
  fluid_synth_t* synth = synth_.get();
  data1 &= 0x7F;
  data2 &= 0x7F;
  switch (status & 0xF0) {
  case 0x80:
    fluid_synth_noteoff(synth, to, data1);
    break;
  case 0x90:
    fluid_synth_noteon(synth, to, data1, data2); // velocity 0 is a note off
    break;
  case 0xA0:
    fluid_synth_key_pressure(synth, to, data1, data2);
    break;
  case 0xB0:
    controlChange(channel, data1, data2);
    break;
  case 0xC0:
    programChange(channel, data1);
    break;
  case 0xD0:
    fluid_synth_channel_pressure(synth, to, data1);
    channels_[channel].pressure = data1;
    channelsChanged_ = true;
    break;
  case 0xE0:
    fluid_synth_pitch_bend(synth, to, data1 | data2 << 7);
    channels_[channel].bend = static_cast<uint16_t>(data1 | data2 << 7);
    channelsChanged_ = true;
    break;
  default:
    break; // system messages
  }
}

bool Synth::takeChannelsChanged()
{
  return std::exchange(channelsChanged_, false);
}

void Synth::render(float* const* outputs, int frames)
{
  if (diedAway())
    return;
  if (doubled_)
    renderDoubled(outputs, frames);
  else
    renderNative(outputs, frames);
}

void Synth::renderNative(float* const* outputs, int frames)
{
  // Dry outputs, then reverb and chorus of each group: the effects are mixed into their group.
  float* dry[outputCount] = {outputs[0], outputs[1], outputs[2], outputs[3]};
  float* wet[2 * outputCount] = {outputs[0], outputs[1], outputs[0], outputs[1],
                                 outputs[2], outputs[3], outputs[2], outputs[3]};
  fluid_synth_process(synth_.get(), frames, 2 * outputCount, wet, outputCount, dry);
  listenForSilence(outputs, frames);
}

void Synth::renderDoubled(float* const* outputs, int frames)
{
  int at = 0;
  if (carries_ && frames > 0) {
    for (size_t i = 0; i < outputCount; ++i)
      outputs[i][0] += carried_[i];
    at = 1;
  }
  if (frames > 0)
    carries_ = false;
  while (at < frames) {
    const int wanted = std::min(sliceFrames, (frames - at + 1) / 2);
    float* slices[outputCount];
    for (size_t i = 0; i < outputCount; ++i) {
      slice_[i].fill(0.0f);
      slices[i] = slice_[i].data();
    }
    renderNative(slices, wanted);
    for (size_t i = 0; i < outputCount; ++i)
      for (int frame = 0; frame < wanted; ++frame) {
        const auto pair = doublers_[i].push(slice_[i][frame]);
        const int first = at + 2 * frame;
        outputs[i][first] += pair[0];
        if (first + 1 < frames)
          outputs[i][first + 1] += pair[1];
        else
          carried_[i] = pair[1];
      }
    at += 2 * wanted;
  }
  carries_ = carries_ || at > frames;
}

/// Nothing sounds and nothing echoes: rendering would only yield zeros.
bool Synth::diedAway() const
{
  return quietFrames_ >= quietFramesToSleep && voices() == 0;
}

void Synth::listenForSilence(float* const* outputs, int frames)
{
  if (voices() > 0) {
    quietFrames_ = 0;
    return;
  }
  for (size_t i = 0; i < outputCount; ++i)
    for (int frame = 0; frame < frames; ++frame)
      if (std::fabs(outputs[i][frame]) > quiet) {
        quietFrames_ = 0;
        return;
      }
  quietFrames_ = std::min(quietFrames_ + frames, quietFramesToSleep);
}

} // namespace soundfont
