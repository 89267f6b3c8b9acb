#pragma once

#include "foundation/stream.h"

#include "orb/orb.h"

namespace orbi {

class FBuffer;
class OrbPlugin;

/// Reads programs and banks from a stream into a plug-in. For one call. What a count or size says
/// is believed only as far as bytes arrive.
class ProgramReader {
public:
  ProgramReader(OrbPlugin& plugin, FStream& stream);

  // The results are those of the plug-in's operations of the same names
  int32_t readProgram();
  int32_t readBank();
  /// Why not all that was there reached the plug-in; null when it did.
  const char* fault() const;

private:
  enum class ChunkOf { bank = 0, program = 1 };
  enum class Use { load, passOver };

  int32_t readParameterProgram();
  int32_t readChunkProgram();
  int32_t readParameterBank();
  int32_t readChunkBank();
  bool readInfo(OrbBankInfo& info);
  bool readName(char* name);
  bool readChunk(ChunkOf what, Use use);
  bool readParameters(int32_t count);
  bool takeChunk(FBuffer& chunk, uint32_t bytes, int64_t end);
  bool mayLoadProgram(const OrbBankInfo& info);
  bool mayLoadBank(const OrbBankInfo& info);
  void setName(char* name);
  bool fail(const char* fault);
  bool failToRead();

  OrbPlugin& plugin_;
  FStream& stream_;
  const uint32_t faultsBefore_;
  const char* fault_ = nullptr;
  bool isCutShort_ = false; ///< a byte was wanted that isn't there
};

} // namespace orbi
