#pragma once

#include "foundation/stream.h"

#include <optional>

namespace orbi {

/// Copies from where the source stands to its end, in large steps. Answers the bytes; none when
/// either side failed on the way.
std::optional<int64_t> copyRest(FStream& source, FStream& target);

} // namespace orbi
