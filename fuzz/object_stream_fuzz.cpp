#include "foundation/class_registry.h"
#include "foundation/memory_stream.h"

#include <cstdlib>

using namespace orbi;

namespace {

constexpr const char* classes[] = {"FMessage", "FAttributes",   "CmString", "CmUID",
                                   "CmBuffer", "FMemoryStream", "CmBitSet", "CmVariant"};

Ref<FMemoryStream> written(const CmObject& object)
{
  auto stream = make<FMemoryStream>();
  if (!object.write(*stream))
    std::abort();
  stream->rewind();
  return stream;
}

bool sameBytes(const FMemoryStream& a, const FMemoryStream& b)
{
  return a.size() == b.size() &&
         (a.size() == 0 || std::memcmp(a.data(), b.data(), static_cast<size_t>(a.size())) == 0);
}

} // namespace

/// The first byte picks the class, the others are the stream. What was read can be written, and
/// reads back as the same.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t count)
{
  if (count == 0)
    return 0;
  const char* name = classes[bytes[0] % std::size(classes)];
  FMemoryStream input(const_cast<uint8_t*>(bytes + 1), static_cast<int64_t>(count - 1));
  Ref<CmObject> object = createAs<CmObject>(name);
  if (!object)
    std::abort();
  if (!object->read(input))
    return 0;
  Ref<FMemoryStream> first = written(*object);
  Ref<CmObject> again = createAs<CmObject>(name);
  if (!again->read(*first) || !sameBytes(*first, *written(*again)))
    std::abort();
  return 0;
}
