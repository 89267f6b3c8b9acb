#include "platform/linux/file_uri.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

/// What other programs drag onto a window, or a dialog of the desktop's answers: no path that comes
/// out of it is a relative one or holds a zero, and there are no more of them than lines.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
  const std::string_view uris(reinterpret_cast<const char*>(data), size);
  const auto files = orbi::platform::localFiles(uris);
  std::size_t ends = 1;
  for (const char c : uris)
    ends += c == '\n' || c == '\r' ? 1 : 0;
  if (files.size() > ends)
    std::abort();
  for (const auto& file : files)
    if (!file.is_absolute() || file.native().find('\0') != std::string::npos)
      std::abort();
  return 0;
}
