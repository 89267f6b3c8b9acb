#pragma once

#include "soundfont/doubler.h"
#include "soundfont/font.h"
#include "soundfont/state.h"

#include <array>
#include <cstdint>
#include <fluidsynth.h>
#include <memory>
#include <string>
#include <vector>

namespace soundfont {

constexpr size_t outputCount = 4; ///< "Main" left, right, "Drums" left, right

/// Whether a file that can be read says of itself that it is a SoundFont.
bool isSoundFont(const std::string& path);

/// FluidSynth with one SoundFont, split into melody and drums, with its channels' state kept beside
/// it. begin() and the naming functions are the main thread's, all else the audio thread's; the
/// owner sees to it that they don't overlap.
class Synth {
public:
  Synth() = default;
  ~Synth();
  Synth(const Synth&) = delete;
  Synth& operator=(const Synth&) = delete;

  // Main thread
  bool load(const std::string& path);        ///< false: no SoundFont; call once
  std::string presetName(int program) const; ///< of bank 0; empty when there is no such preset
  std::vector<Preset> presets() const;       ///< all, by bank and program
  /// Starts anew from silence with this state. False leaves the synth as it was.
  bool begin(double sampleRate, const ParameterValues& parameters, const ChannelStates& channels);

  // Audio thread: allocate nothing and lock nothing
  void setParameter(size_t index, float value);
  void setProgram(int channel, uint8_t program, uint16_t bank);
  void midi(uint8_t status, uint8_t data1, uint8_t data2);
  void render(float* const* outputs, int frames); ///< adds
  const ChannelStates& channels() const { return channels_; }
  bool takeChannelsChanged();         ///< whether channels() differ from the last time
  int voices() const;                 ///< sounding now
  void takeOver(const Synth& former); ///< its parameters and channels, but not its notes

private:
  struct SettingsDelete {
    void operator()(fluid_settings_t* settings) const { delete_fluid_settings(settings); }
  };
  struct SynthDelete {
    void operator()(fluid_synth_t* synth) const { delete_fluid_synth(synth); }
  };
  using SynthPointer = std::unique_ptr<fluid_synth_t, SynthDelete>;

  bool makeSettings();
  void restore(int channel, const ChannelState& state);
  void controlChange(int channel, int controller, int value);
  void programChange(int channel, int program);
  void readBack(int channel);
  void renderNative(float* const* outputs, int frames);
  void renderDoubled(float* const* outputs, int frames);
  bool diedAway() const;
  void listenForSilence(float* const* outputs, int frames);

  static constexpr int sliceFrames = 256;

  std::unique_ptr<fluid_settings_t, SettingsDelete> settings_;
  SynthPointer synth_;
  fluid_sfont_t* font_ = nullptr; // the synth's
  ParameterValues parameters_{};
  ChannelStates channels_{};
  bool channelsChanged_ = false;
  int quietFrames_ = 0; // of output since the last voice ended
  bool doubled_ = false;
  std::array<Doubler, outputCount> doublers_;
  std::array<float, outputCount> carried_{}; // second frames of a pair that a block cut in two
  bool carries_ = false;
  std::array<std::array<float, sliceFrames>, outputCount> slice_{};
};

} // namespace soundfont
