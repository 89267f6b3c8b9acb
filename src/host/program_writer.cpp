#include "host/program_writer.h"

#include "host/plugin.h"
#include "host/program_format.h"
#include "platform/fault_guard.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace orbi {

using namespace programFormat;

namespace {

constexpr const char* cannotWrite = "can't be written completely";
constexpr const char* pluginFailed = "the plug-in failed";
constexpr const char* notCredible = "the plug-in tells of too many programs or parameters";
constexpr const char* tooLarge = "the plug-in has more programs than such a file can hold";

/// Whether the size of a bank of parameters can be told in the file.
bool fitsBank(int64_t programs, int64_t parameters)
{
  const int64_t programBytes = headerBytes + nameBytes + parameters * parameterBytes;
  return programs * programBytes <= INT32_MAX - headerBytes - reservedBytes;
}

/// A copy of bytes that a plug-in points to. Null when they aren't there, or no memory is.
std::unique_ptr<uint8_t[]> copyOf(const void* data, size_t bytes)
{
  std::unique_ptr<uint8_t[]> copy(new (std::nothrow) uint8_t[bytes]);
  if (copy && !platform::guarded([&] { std::memcpy(copy.get(), data, bytes); }))
    copy = nullptr;
  return copy;
}

} // namespace

ProgramWriter::ProgramWriter(OrbPlugin& plugin, FStream& stream) : plugin_(plugin), stream_(stream)
{
  setByteOrder(stream);
}

/// The first cause stays.
bool ProgramWriter::fail(const char* fault)
{
  if (!fault_)
    fault_ = fault;
  return false;
}

bool ProgramWriter::writeProgram()
{
  if (!plugin_.hasCredibleCounts())
    return fail(notCredible);
  const uint32_t faults = plugin_.faultCount();
  const int32_t form = plugin_.takesChunks() ? chunkProgram : parameterProgram;
  const int32_t count = plugin_.numParams(); // it may change while it is asked
  stream_.writeInt32(chunkMagic);
  const int64_t mark = stream_.beginBlock();
  const bool isWhole =
      writeHeader(form, count) && writeName() &&
      (form == chunkProgram ? writeChunk(ChunkOf::program) : writeParameters(count));
  return finish(mark, isWhole) && (plugin_.faultCount() == faults || fail(pluginFailed));
}

bool ProgramWriter::writeBank()
{
  if (!plugin_.hasCredibleCounts())
    return fail(notCredible);
  const uint32_t faults = plugin_.faultCount();
  const int32_t form = plugin_.takesChunks() ? chunkBank : parameterBank;
  const int32_t count = plugin_.numPrograms();
  if (form == parameterBank && !fitsBank(count, plugin_.numParams()))
    return fail(tooLarge);
  const uint8_t reserved[reservedBytes] = {};
  stream_.writeInt32(chunkMagic);
  const int64_t mark = stream_.beginBlock();
  const bool isWhole = writeHeader(form, count) &&
                       stream_.write(reserved, sizeof reserved) == sizeof reserved &&
                       (form == chunkBank ? writeChunk(ChunkOf::bank) : writePrograms(count));
  return finish(mark, isWhole) && (plugin_.faultCount() == faults || fail(pluginFailed));
}

bool ProgramWriter::finish(int64_t mark, bool isWhole)
{
  return (stream_.endBlock(mark) && isWhole) || fail(cannotWrite);
}

bool ProgramWriter::writeHeader(int32_t form, int32_t count)
{
  const int32_t words[] = {form, version, plugin_.uniqueId(), plugin_.version(), count};
  return stream_.writeArray(words, std::size(words));
}

bool ProgramWriter::writeName()
{
  std::string name;
  char field[nameBytes] = {};
  plugin_.programName(name);
  std::memcpy(field, name.data(), std::min(name.size(), sizeof field - 1));
  return stream_.write(field, sizeof field) == sizeof field;
}

bool ProgramWriter::writeParameters(int32_t count)
{
  for (int32_t i = 0; i < count; ++i)
    if (!stream_.writeFloat(plugin_.parameter(i)))
      return false;
  return true;
}

/// Stops at once when the plug-in fails in a block that it plays meanwhile.
bool ProgramWriter::writePrograms(int32_t count)
{
  const auto current = static_cast<int32_t>(plugin_.dispatch(opGetProgram));
  bool isWhole = true;
  for (int32_t i = 0; i < count && isWhole; ++i) {
    plugin_.setProgram(i);
    isWhole = writeProgram() && (!plugin_.hasFaulted() || fail(pluginFailed));
  }
  if (!plugin_.hasFaulted())
    plugin_.setProgram(current);
  return isWhole;
}

/// Where the plug-in gives none, the size says so.
bool ProgramWriter::writeChunk(ChunkOf what)
{
  const auto index = static_cast<int32_t>(what);
  void* data = nullptr;
  const int64_t bytes = plugin_.dispatch(opGetChunk, index, index, &data);
  if (bytes < 1 || !data)
    return stream_.writeInt32(0);
  const auto copy =
      bytes <= INT32_MAX ? copyOf(data, static_cast<size_t>(bytes)) : std::unique_ptr<uint8_t[]>();
  if (!copy) {
    stream_.writeInt32(0);
    return fail("the plug-in's data can't be read");
  }
  return stream_.writeInt32(static_cast<int32_t>(bytes)) &&
         stream_.write(copy.get(), bytes) == bytes;
}

} // namespace orbi
