#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace soundfont {

/// Turns a signal into one of twice the sample rate by a half-band filter. Every second frame is an
/// input sample as it was, so only the frames between are computed. Delays by `taps` frames.
class Doubler {
public:
  static constexpr size_t taps = 32; ///< inputs that a frame in between looks at

  void reset() { history_.fill(0.0f); }

  /// Takes one input frame and answers the two output frames that it completes.
  std::array<float, 2> push(float sample)
  {
    history_[at_] = history_[at_ + taps] = sample;
    at_ = (at_ + 1) % taps;
    const float* oldest = history_.data() + at_;
    float between = 0.0f;
    for (size_t i = 0; i < taps; ++i)
      between += oldest[i] * coefficients_[i];
    return {oldest[taps / 2 - 1], between};
  }

private:
  static std::array<float, taps> design()
  {
    std::array<float, taps> result{};
    double sum = 0;
    for (size_t i = 0; i < taps; ++i) {
      const double distance = static_cast<double>(i) - (taps - 1) / 2.0;
      const double angle = std::numbers::pi * distance;
      const double window =
          0.42 + 0.5 * std::cos(2.0 * angle / taps) + 0.08 * std::cos(4.0 * angle / taps);
      result[i] = static_cast<float>(std::sin(angle) / angle * window);
      sum += result[i];
    }
    for (float& value : result)
      value = static_cast<float>(value / sum);
    return result;
  }

  std::array<float, taps> coefficients_ = design();
  std::array<float, 2 * taps> history_{}; // twice, so that the last `taps` always lie in a row
  size_t at_ = 0;
};

} // namespace soundfont
