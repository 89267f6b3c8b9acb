#include "foundation/attributes.h"
#include "foundation/memory_stream.h"
#include "midi/midi_event.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

using namespace orbi;

namespace {

void require(bool condition)
{
  if (!condition)
    std::abort();
}

/// A chunk that is read is as long as it says, within its source, and is written as it was.
void readStream(const std::uint8_t* bytes, std::size_t count)
{
  std::vector<std::uint8_t> file(bytes, bytes + count);
  FMemoryStream source(file.data(), static_cast<std::int64_t>(count));
  PSysexChunk chunk;
  if (!chunk.read(source)) {
    require(chunk.getSize() == 0);
    return;
  }
  require(chunk.getSize() + 8u <= count);
  FMemoryStream again;
  require(chunk.write(again) && again.size() == chunk.getSize() + 8);
  require(chunk.getSize() == 0 || std::memcmp(again.data() + 8, bytes + 8, chunk.getSize()) == 0);
}

/// One byte of counter, then blocks: a byte of stated size, a byte of true size, the bytes.
void loadAttributes(const std::uint8_t* bytes, std::size_t count)
{
  FAttributes attributes;
  std::size_t place = 0;
  auto next = [&] { return place < count ? bytes[place++] : std::uint8_t(0); };
  std::uint8_t counter = next();
  if (counter & 1)
    attributes.setInt("ChunkCounter", static_cast<std::int8_t>(counter) / 2);
  std::size_t total = 0;
  CmString key;
  for (int block = 0; place < count && block < 64; ++block) {
    key.format("ChunkSize%d", block);
    attributes.setInt(key.text(), static_cast<std::int8_t>(next()));
    std::size_t size = next();
    size = std::min(size, count - place);
    key.format("Chunk%d", block);
    attributes.setBinary(key.text(), bytes + place, static_cast<std::int64_t>(size), true);
    place += size;
    total += size;
  }
  PSysexChunk chunk;
  require(chunk.loadAttributes(attributes) ? chunk.getSize() <= total : chunk.getSize() == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
  readStream(bytes, count);
  loadAttributes(bytes, count);
  return 0;
}
