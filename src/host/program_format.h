#pragma once

#include "foundation/stream.h"

#include <bit>

namespace orbi {

/// The files of programs and banks. All numbers are big-endian; each file and each program inside
/// a bank is "CcnK", a byte count of what follows, and one of four forms:
///
///   program  "FxCk" or "FPCh"  version, plug-in id, plug-in version, parameter count, name
///   bank     "FxBk" or "FBCh"  version, plug-in id, plug-in version, program count, reserved bytes
///
/// Behind that stand the parameters (floats) of an "FxCk", whole programs in an "FxBk", and a byte
/// count with the plug-in's own bytes in the others.
namespace programFormat {

enum Magic : int32_t {
  chunkMagic = 0x43636E4B,       // "CcnK"
  parameterProgram = 0x4678436B, // "FxCk"
  chunkProgram = 0x46504368,     // "FPCh"
  parameterBank = 0x4678426B,    // "FxBk"
  chunkBank = 0x46424368         // "FBCh"
};

inline constexpr int32_t version = 1;
inline constexpr int64_t headerBytes = 28; ///< up to the count
inline constexpr int64_t sizeEnd = 8;      ///< where the bytes begin that the size counts
inline constexpr int64_t nameBytes = 28;
inline constexpr int64_t reservedBytes = 128;
inline constexpr int64_t parameterBytes = 4;

inline void setByteOrder(FStream& stream)
{
  stream.setSwapsBytes(std::endian::native == std::endian::little);
}

} // namespace programFormat

} // namespace orbi
