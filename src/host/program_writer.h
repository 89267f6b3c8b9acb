#pragma once

#include "foundation/stream.h"

namespace orbi {

class OrbPlugin;

/// Writes what a plug-in holds to a stream, in the form that the plug-in chooses. For one call.
class ProgramWriter {
public:
  ProgramWriter(OrbPlugin& plugin, FStream& stream);

  bool writeProgram(); ///< the current one; false when not all of it was there or found room
  bool writeBank();    ///< leaves the current program as it was
  const char* fault() const { return fault_; } ///< words for a false

private:
  enum class ChunkOf { bank = 0, program = 1 };

  bool writeHeader(int32_t form, int32_t count);
  bool writeName();
  bool writeParameters(int32_t count);
  bool writePrograms(int32_t count);
  bool writeChunk(ChunkOf what);
  bool fail(const char* fault);
  bool finish(int64_t mark, bool isWhole);

  OrbPlugin& plugin_;
  FStream& stream_;
  const char* fault_ = nullptr;
};

} // namespace orbi
