#include "soundfont/state.h"

#include <cstdint>
#include <cstdlib>

namespace {

void require(bool condition)
{
  if (!condition)
    std::abort();
}

} // namespace

/// A chunk that is taken is as long as what is written again, and that says the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
  if (const auto bank = soundfont::readBank(bytes, count)) {
    const auto written = soundfont::writeBank(*bank);
    require(written.size() == count);
    const auto again = soundfont::readBank(written.data(), written.size());
    require(again && soundfont::writeBank(*again) == written);
    require(again->channels == bank->channels && again->names == bank->names &&
            again->font == bank->font);
  }
  if (const auto program = soundfont::readProgram(bytes, count)) {
    const auto written = soundfont::writeProgram(*program);
    require(written == std::vector<std::uint8_t>(bytes, bytes + count));
  }
  return 0;
}
