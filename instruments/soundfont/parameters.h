#pragma once

#include <array>
#include <cstddef>

namespace soundfont {

enum class Parameter {
  gain,
  reverbOn,
  reverbRoom,
  reverbDamp,
  reverbWidth,
  reverbLevel,
  chorusOn,
  chorusVoices,
  chorusLevel,
  chorusSpeed,
  chorusDepth,
  count
};

constexpr size_t parameterCount = static_cast<size_t>(Parameter::count);

/// What the host's 0 to 1 stands for: a straight line from low to high in FluidSynth's unit.
struct ParameterRange {
  double low;
  double high;
  double preset; ///< value of a new instrument, in FluidSynth's unit
};

constexpr std::array<ParameterRange, parameterCount> parameterRanges{{
    {0.0, 2.0, 0.3},  // gain: linear factor
    {0.0, 1.0, 1.0},  // reverb on: from one half on
    {0.0, 1.0, 0.2},  // room size
    {0.0, 1.0, 0.0},  // damping of the highs
    {0.0, 1.0, 0.5},  // stereo width
    {0.0, 1.0, 0.9},  // level
    {0.0, 1.0, 1.0},  // chorus on: from one half on
    {0.0, 16.0, 3.0}, // voices, whole numbers
    {0.0, 10.0, 2.0}, // level
    {0.1, 5.0, 0.3},  // speed in Hz
    {0.0, 32.0, 8.0}, // depth in ms; FluidSynth shortens it at high sample rates
}};

using ParameterValues = std::array<float, parameterCount>; ///< 0 to 1

constexpr double inSynthUnit(size_t index, float value)
{
  const ParameterRange& range = parameterRanges[index];
  return range.low + (range.high - range.low) * static_cast<double>(value);
}

constexpr ParameterValues presetParameters()
{
  ParameterValues values{};
  for (size_t i = 0; i < parameterCount; ++i) {
    const ParameterRange& range = parameterRanges[i];
    values[i] = static_cast<float>((range.preset - range.low) / (range.high - range.low));
  }
  return values;
}

} // namespace soundfont
