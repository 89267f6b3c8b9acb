#pragma once

#include <cstdint>
#include <iterator>

namespace orbi {

/// Channels of a plug-in output by the arrangement of its properties.
struct OutputArrangement {
  int32_t channels;
  const char* labels[6];
};

inline constexpr OutputArrangement outputArrangements[] = {
    {1, {"M"}},
    {2, {"L", "R"}},
    {2, {"Ls", "Rs"}},
    {2, {"Lc", "Rc"}},
    {2, {"Sl", "Sr"}},
    {2, {"C", "Lfe"}},
    {3, {"L", "R", "C"}},
    {3, {"L", "R", "S"}},
    {4, {"L", "R", "C", "Lfe"}},
    {4, {"L", "R", "Fle", "S"}}, // written so in every list of this system
    {4, {"L", "R", "C", "S"}},
    {4, {"L", "R", "Ls", "Rs"}},
    {5, {"L", "R", "C", "Lfe", "S"}},
    {5, {"L", "R", "Lfe", "Ls", "Rs"}},
    {5, {"L", "R", "C", "Ls", "Rs"}},
    {6, {"L", "R", "C", "Lfe", "Ls", "Rs"}},
};

constexpr const OutputArrangement* findArrangement(int32_t number)
{
  constexpr auto count = static_cast<int32_t>(std::size(outputArrangements));
  return number >= 0 && number < count ? &outputArrangements[number] : nullptr;
}

} // namespace orbi
