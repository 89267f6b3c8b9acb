#pragma once

#include <cstdint>
#include <optional>

namespace orbi {

class CmObject;

/// Bytes of a binary value, borrowed from whichever object holds them.
struct BinaryBlock {
  const uint8_t* data = nullptr;
  int64_t size = 0;
};

/// Of an FMemoryStream, a CmBuffer or an FAttrBuffer; nothing for other objects and null.
std::optional<BinaryBlock> binaryBlockOf(const CmObject* object);

} // namespace orbi
