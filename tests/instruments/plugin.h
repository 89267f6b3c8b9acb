#pragma once

#include "orb/orb.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// One instrument, loaded from its module and called in the order in which a host calls it.
class Plugin {
public:
  using Message = std::array<uint8_t, 3>;
  using Sound = std::vector<std::vector<float>>; ///< by output, then frame

  explicit Plugin(const char* path, float rate = 48000.0f, int blockFrames = 256);
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  bool loaded() const { return effect_ != nullptr; }
  OrbEffect& effect() { return *effect_; }
  int64_t call(int opcode, int index = 0, int64_t value = 0, void* ptr = nullptr, float opt = 0.0f)
  {
    return effect_->dispatcher(effect_, opcode, index, value, ptr, opt);
  }

  void set(int parameter, float value) { effect_->setParameter(effect_, parameter, value); }
  float get(int parameter) { return effect_->getParameter(effect_, parameter); }
  void on() { call(opMainsChanged, 0, 1); }
  void off() { call(opMainsChanged, 0, 0); }
  void setRate(float rate) { call(opSetSampleRate, 0, 0, nullptr, rate); }
  void setBlock(int frames);
  /// At the start of the next block. As in play(), a RealtimeWatch looks at the instrument's call.
  void send(const std::vector<Message>& messages);
  Sound play(int frames, bool accumulating = false);

  std::vector<uint8_t> chunk(int index);
  int64_t setChunk(int index, const std::vector<uint8_t>& chunk);
  std::string programName(int program);

private:
  void* module_ = nullptr;
  OrbEffect* effect_ = nullptr;
  int blockFrames_ = 0;
};

/// Frequency of a steady tone, from the best fit of the signal to itself one period later. Hz.
double pitchOf(const std::vector<float>& sound, size_t from, double rate);
float peakOf(const std::vector<float>& sound, size_t from = 0);
