#include "foundation/binary_block.h"

#include "foundation/attributes.h"
#include "foundation/buffer.h"
#include "foundation/memory_stream.h"

namespace orbi {

std::optional<BinaryBlock> binaryBlockOf(const CmObject* object)
{
  if (auto* stream = castTo<FMemoryStream>(object))
    return BinaryBlock{stream->data(), stream->size()};
  if (auto* buffer = castTo<CmBuffer>(object))
    return BinaryBlock{buffer->buffer.data(), buffer->buffer.used()};
  if (auto* buffer = castTo<FAttrBuffer>(object))
    return BinaryBlock{static_cast<const uint8_t*>(buffer->data), buffer->size};
  return std::nullopt;
}

} // namespace orbi
