#include "persist/stream_copy.h"

#include "foundation/file_stream.h"

#include <algorithm>
#include <memory>

namespace orbi {

namespace {

/// A file's end and a file's fault both read as nothing.
bool wasRead(const FStream& source)
{
  auto* file = castTo<FFileStream>(&source);
  return source.isValid() && (!file || file->firstError() == 0);
}

} // namespace

std::optional<int64_t> copyRest(FStream& source, FStream& target)
{
  constexpr int64_t chunk = 65536;
  auto bytes = std::make_unique<uint8_t[]>(chunk);
  for (int64_t copied = 0;;) {
    const int64_t got = source.read(bytes.get(), chunk);
    if (got == 0)
      return wasRead(source) ? std::optional(copied) : std::nullopt;
    if (got < 0 || target.write(bytes.get(), got) != got)
      return std::nullopt;
    copied += got;
  }
}

} // namespace orbi
