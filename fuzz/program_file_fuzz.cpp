#include "foundation/memory_stream.h"
#include "foundation/ref.h"
#include "host/plugin.h"
#include "host/program_file.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using namespace orbi;

namespace {

void require(bool condition)
{
  if (!condition)
    std::abort();
}

constexpr int programCount = 3;
constexpr int parameterCount = 4;

/// A plug-in that keeps what it is given.
struct Recorder {
  OrbEffect effect{};
  std::int64_t answer = 0;
  std::int64_t questions = 0;
  bool isRefused = false; ///< by the last answer
  int program = 0;
  int open = 0; ///< begun programs that aren't ended
  std::size_t parameterCalls = 0;
  std::string names[programCount];
  float parameters[programCount][parameterCount] = {};
  std::vector<std::uint8_t> chunks[2]; ///< of the bank, of the program
};

Recorder recorder;

void takeChunk(std::int32_t index, std::int64_t bytes, const void* data)
{
  require(bytes > 0 && data && (index == 0 || index == 1) && !recorder.isRefused);
  require(recorder.open == index);
  auto* first = static_cast<const std::uint8_t*>(data);
  recorder.chunks[index].assign(first, first + bytes);
}

void takeName(std::int32_t index, const void* text)
{
  require(recorder.open == 1 && !recorder.isRefused && index == recorder.program);
  recorder.names[index] = static_cast<const char*>(text);
  require(recorder.names[index].size() <= 27);
}

/// Each question gets the next two bits of the script: refused, no opinion, accepted, accepted.
std::int64_t answerLoad()
{
  const auto bits = recorder.answer >> (2 * (recorder.questions++ % 3)) & 3;
  recorder.isRefused = bits == 0;
  return bits == 0 ? -1 : bits == 1 ? 0 : 1;
}

std::int64_t dispatch(OrbEffect*, std::int32_t opcode, std::int32_t index, std::int64_t value,
                      void* ptr, float)
{
  switch (opcode) {
  case opSetProgram:
    require(value >= 0 && value < programCount && recorder.open == 0);
    recorder.program = static_cast<int>(value);
    return 0;
  case opGetProgram:
    return recorder.program;
  case opSetProgramName:
    takeName(index, ptr);
    return 0;
  case opGetProgramName:
    std::strcpy(static_cast<char*>(ptr), recorder.names[recorder.program].c_str());
    return 0;
  case opBeginSetProgram:
    require(++recorder.open == 1 && !recorder.isRefused);
    return 0;
  case opEndSetProgram:
    require(--recorder.open == 0);
    return 0;
  case opBeginLoadBank:
  case opBeginLoadProgram:
    return answerLoad();
  case opGetChunk:
    *static_cast<const void**>(ptr) = recorder.chunks[index].data();
    return static_cast<std::int64_t>(recorder.chunks[index].size());
  case opSetChunk:
    takeChunk(index, value, ptr);
    return 0;
  default:
    return 0;
  }
}

void setParameter(OrbEffect*, std::int32_t index, float value)
{
  require(recorder.open == 1 && index >= 0);
  ++recorder.parameterCalls;
  if (index < parameterCount)
    recorder.parameters[recorder.program][index] = value;
}

float getParameter(OrbEffect*, std::int32_t index)
{
  require(index >= 0 && index < parameterCount);
  return recorder.parameters[recorder.program][index];
}

OrbEffect* enter(OrbHostCallback)
{
  recorder.effect.dispatcher = dispatch;
  recorder.effect.setParameter = setParameter;
  recorder.effect.getParameter = getParameter;
  recorder.effect.numPrograms = programCount;
  recorder.effect.numParams = parameterCount;
  recorder.effect.uniqueId = 0x46757A7A; // "Fuzz"
  recorder.effect.version = 100;
  return &recorder.effect;
}

Ref<OrbPlugin> pluginOf(std::uint8_t script)
{
  recorder = {};
  recorder.answer = script >> 1;
  auto plugin = make<OrbPlugin>("recorder", 0);
  require(plugin->enter(enter, nullptr));
  recorder.effect.flags = script & 1 ? orbProgramChunks : 0;
  return plugin;
}

/// What was read is written, and read again says the same.
void checkRoundTrip(OrbPlugin& plugin, bool isBank)
{
  FMemoryStream first, second;
  recorder.answer = 0xFF;
  require(isBank ? plugin.writeBank(first) : plugin.writeProgram(first));
  ProgramFileFault fault;
  const std::string_view bytes(reinterpret_cast<const char*>(first.data()),
                               static_cast<std::size_t>(first.size()));
  const auto parsed = parseProgramFile(bytes, fault);
  require(parsed && !parsed->oddity);
  first.rewind();
  require((isBank ? plugin.readBank(first) : plugin.readProgram(first)) == 1);
  require(!plugin.fileFault() && first.tell() == first.size());
  require(isBank ? plugin.writeBank(second) : plugin.writeProgram(second));
  require(second.size() == first.size() &&
          std::memcmp(first.data(), second.data(), static_cast<std::size_t>(first.size())) == 0);
}

void read(std::uint8_t script, bool isBank, const std::uint8_t* bytes, std::size_t count)
{
  auto plugin = pluginOf(script);
  FMemoryStream stream;
  stream.write(bytes, static_cast<std::int64_t>(count));
  stream.rewind();
  const std::int32_t result = isBank ? plugin->readBank(stream) : plugin->readProgram(stream);
  require((result == 0 || result == 1) && recorder.open == 0);
  require(recorder.parameterCalls <= count / 4);
  require(std::max(recorder.chunks[0].size(), recorder.chunks[1].size()) <= count);

  ProgramFileFault fault;
  const std::string_view text(reinterpret_cast<const char*>(bytes), count);
  const auto parsed = parseProgramFile(text, fault);
  if (!parsed)
    require(fault.byte >= 0 && fault.byte <= static_cast<std::int64_t>(count));
  else // then nothing can be missing
    require(!plugin->fileFault() || std::strcmp(plugin->fileFault(), "is cut short") != 0);
  if (result == 0 && !plugin->fileFault())
    std::abort();
  checkRoundTrip(*plugin, isBank);
}

} // namespace

/// The first byte is the plug-in's: whether it takes chunks, and what it answers before a load.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
  if (count == 0)
    return 0;
  read(bytes[0], false, bytes + 1, count - 1);
  read(bytes[0], true, bytes + 1, count - 1);
  return 0;
}
