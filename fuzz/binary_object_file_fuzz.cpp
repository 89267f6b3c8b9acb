#include "foundation/memory_stream.h"
#include "persist/binary_object_reader.h"
#include "persist/binary_object_writer.h"
#include "persist/owned_tree.h"

#include <cstdlib>

using namespace orbi;

namespace {

/// The inline roots; null when the file is refused.
Ref<FAttributes> read(FMemoryStream& stream)
{
  auto roots = make<FAttributes>();
  auto byReference = make<FAttributes>();
  return BinaryObjectReader(stream).readRoots(byReference.get(), roots.get()) ? roots : nullptr;
}

/// Null when something in it can't be stored, which objects of the old forms may be.
Ref<FMemoryStream> written(FAttributes& roots)
{
  TextBufferPool pool;
  auto stream = make<FMemoryStream>();
  if (!BinaryObjectWriter(*stream, pool).writeRoots(nullptr, &roots))
    return nullptr;
  stream->rewind();
  return stream;
}

} // namespace

/// What was read and written reads back, and is written as the same bytes from then on.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t count)
{
  FMemoryStream input(const_cast<uint8_t*>(bytes), static_cast<int64_t>(count));
  Ref<FAttributes> first = read(input);
  Ref<FMemoryStream> once = first ? written(*first) : nullptr;
  if (!once)
    return 0;
  Ref<FAttributes> second = read(*once);
  if (!second)
    std::abort();
  Ref<FMemoryStream> twice = written(*second);
  Ref<FAttributes> third = twice ? read(*twice) : nullptr;
  if (!third)
    std::abort();
  Ref<FMemoryStream> thrice = written(*third);
  if (!thrice || twice->size() != thrice->size() ||
      std::memcmp(twice->data(), thrice->data(), static_cast<size_t>(twice->size())) != 0)
    std::abort();
  ownTree(*third);
  return 0;
}
