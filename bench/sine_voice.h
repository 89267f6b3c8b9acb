#pragma once

#include <cmath>

/// One voice of the sine synthesiser: an oscillator and a straight attack and release.
class SineVoice {
public:
  void start(float frequency, float level, float sampleRate)
  {
    step_ = 2.0F * pi * frequency / sampleRate;
    level_ = level;
    target_ = 1.0F;
    ramp_ = 1.0F / (attackSeconds * sampleRate);
    fall_ = 1.0F / (releaseSeconds * sampleRate);
  }

  void release() { target_ = 0.0F; }

  /// Adds the voice to a block.
  void render(float* out, int frames)
  {
    if (envelope_ == 0.0F && target_ == 0.0F)
      return;
    for (int i = 0; i < frames; ++i) {
      envelope_ = target_ > envelope_ ? std::fmin(envelope_ + ramp_, target_)
                                      : std::fmax(envelope_ - fall_, target_);
      out[i] += std::sin(phase_) * envelope_ * level_;
      phase_ += step_;
      if (phase_ >= 2.0F * pi)
        phase_ -= 2.0F * pi;
    }
  }

private:
  static constexpr float pi = 3.14159265F;
  static constexpr float attackSeconds = 0.005F;
  static constexpr float releaseSeconds = 0.2F;

  float phase_ = 0.0F;
  float step_ = 0.0F;
  float level_ = 0.0F;
  float envelope_ = 0.0F;
  float target_ = 0.0F;
  float ramp_ = 0.0F;
  float fall_ = 0.0F;
};
