#pragma once

#include "orb/orb.h"
#include "soundfont/synth.h"

#include <array>
#include <atomic>
#include <string>
#include <vector>

namespace soundfont {

/// The plug-in: what the host asks for on the main thread, what it plays on the audio thread, and
/// the way from the one to the other.
///
/// Single changes (a parameter, a program) wait in `exchange_` for the next block. The audio thread
/// only ever tries its flag: when the main thread holds it, the change is heard a block later. What
/// replaces everything (a bank, the sample rate) stops the audio thread at a block's edge and
/// starts the synth anew; blocks that come meanwhile are silent.
class Instrument {
public:
  bool load(const std::string& fontPath);

  // Main thread
  void setParameter(size_t index, float value);
  float parameter(size_t index) const;
  void setProgram(int program, uint16_t bank = 0);
  int program();
  void setProgramName(int program, const char* name);
  std::string programName(int program) const;
  std::vector<uint8_t>& makeBankChunk();    ///< owned here, good until the next chunk is made
  std::vector<uint8_t>& makeProgramChunk(); ///< likewise
  bool setBankChunk(const void* data, size_t bytes);    ///< false changes nothing
  bool setProgramChunk(const void* data, size_t bytes); ///< likewise
  void setSampleRate(float rate);
  void turnOn();
  void turnOff();

  // Audio thread
  void playEvents(const OrbEventList& list);
  void render(float** outputs, int frames); ///< adds

private:
  class AudioTurn;

  void stopAudio();
  void startAudio();
  void restart(const ChannelStates& channels);
  ChannelStates channelsAsAsked();
  void takeChanges();

  static constexpr int noProgram = -1;

  Synth synth_;
  std::atomic<bool> stopped_{true};
  std::atomic<bool> inBlock_{false};
  struct {
    std::atomic_flag taken;
    ParameterValues parameters{};
    uint32_t changedParameters = 0; // bit for index
    int program = noProgram;
    uint16_t bank = 0;        // of program
    ChannelStates channels{}; // as the audio thread last left them
  } exchange_;
  struct {
    ParameterValues parameters = presetParameters();
    std::array<std::string, programCount> fontNames;
    std::map<uint8_t, std::string> names; // given by the user
    double sampleRate = 44100.0;
    bool on = false;
    std::vector<uint8_t> chunk;
  } main_; // the main thread's only
};

} // namespace soundfont
