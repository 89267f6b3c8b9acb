#include "foundation/memory_stream.h"
#include "persist/object_file_reader.h"
#include "persist/object_file_writer.h"
#include "persist/owned_tree.h"

#include <cstdlib>

using namespace orbi;

namespace {

struct Loaded {
  Ref<FAttributes> one = make<FAttributes>();
  Ref<FAttributes> byReference = make<FAttributes>();
  Ref<FAttributes> inlineRoots = make<FAttributes>();
};

bool read(FMemoryStream& stream, bool named, Loaded& loaded)
{
  auto reader = make<ObjectFileReader>(stream);
  const bool complete =
      named ? reader->readRoots("R", loaded.byReference.get(), loaded.inlineRoots.get())
            : reader->readRootAttributes("R", *loaded.one);
  if (complete != (reader->error() == XmlError::none) || reader->line() < 1)
    std::abort();
  return complete;
}

void write(const Loaded& loaded, bool named, FMemoryStream& stream)
{
  TextBufferPool pool;
  ObjectFileWriter writer(stream, pool);
  if (!(named ? writer.writeRoots("R", loaded.byReference.get(), loaded.inlineRoots.get())
              : writer.writeRootAttributes("R", *loaded.one)))
    std::abort();
  stream.rewind();
}

bool sameBytes(const FMemoryStream& a, const FMemoryStream& b)
{
  return a.size() == b.size() &&
         std::memcmp(a.data(), b.data(), static_cast<size_t>(a.size())) == 0;
}

} // namespace

/// The first byte picks the form, the others are the file. What was read and written reads back,
/// and is written as before from then on.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t count)
{
  if (count == 0)
    return 0;
  const bool named = bytes[0] & 1;
  FMemoryStream input(const_cast<uint8_t*>(bytes + 1), static_cast<int64_t>(count - 1));
  Loaded first, second;
  if (!read(input, named, first))
    return 0;
  FMemoryStream once, twice;
  write(first, named, once);
  if (!read(once, named, second))
    return 0; // a text that is too long once it is escaped
  write(second, named, twice);
  // Objects that stood nowhere but in a reference come in another order; a second time they stay.
  Loaded third;
  if (!read(twice, named, third))
    std::abort();
  FMemoryStream thrice;
  write(third, named, thrice);
  if (!sameBytes(twice, thrice))
    std::abort();
  ownTree(*third.one);
  ownTree(*third.inlineRoots);
  return 0;
}
