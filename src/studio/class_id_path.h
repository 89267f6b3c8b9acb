#pragma once

#include "foundation/uid.h"

#include <optional>
#include <string_view>

namespace orbi {

std::optional<FUID> classIDIn(std::string_view text); ///< none: it isn't just 32 digits

/// The first step of a path that leads through nodes by their class ids: "[<32 digits>]" stays at a
/// node that has the id, "[<32 digits>,<N>]" goes to the N-th child that has it, from 0, N being of
/// one to four digits. Steps follow each other without a separator; what comes behind them is the
/// name of something in the node.
struct ClassIDStep {
  static constexpr int32_t stays = -1;

  FUID id;
  int32_t child = stays;
  size_t length = 0; ///< characters of the step
};

std::optional<ClassIDStep> firstClassIDStep(std::string_view path); ///< none: it doesn't begin so

/// "[Tag:<N>]" asks for a parameter by its tag and isn't a step.
inline constexpr std::string_view tagNameStart = "[Tag:";
std::optional<int32_t> tagInName(std::string_view name); ///< none: another name, or N is negative

} // namespace orbi
