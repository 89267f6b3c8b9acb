#include "host/program_reader.h"

#include "foundation/buffer.h"
#include "host/plugin.h"
#include "host/program_format.h"

#include <algorithm>

namespace orbi {

using namespace programFormat;

namespace {

constexpr const char* cutShort = "is cut short";
constexpr const char* noProgram = "holds no program";
constexpr const char* noBank = "holds no bank";
constexpr const char* wantsNoChunk = "holds data that this plug-in can't take";
constexpr const char* foreign = "belongs to another plug-in";
constexpr const char* tooNew = "belongs to a newer version of the plug-in";
constexpr const char* tooMany = "holds more programs than the plug-in has";
constexpr const char* pluginRefused = "the plug-in refuses it";
constexpr const char* pluginFailed = "the plug-in failed";
constexpr const char* noMemory = "holds more data than there is memory";

/// Between these the plug-in knows that all it hears belongs to one program.
class ProgramBeingSet {
public:
  explicit ProgramBeingSet(OrbPlugin& plugin) : plugin_(plugin)
  {
    plugin_.dispatch(opBeginSetProgram);
  }
  ~ProgramBeingSet() { plugin_.dispatch(opEndSetProgram); }
  ProgramBeingSet(const ProgramBeingSet&) = delete;

private:
  OrbPlugin& plugin_;
};

} // namespace

ProgramReader::ProgramReader(OrbPlugin& plugin, FStream& stream)
    : plugin_(plugin), stream_(stream), faultsBefore_(plugin.faultCount())
{
  setByteOrder(stream);
}

/// The first cause stays.
bool ProgramReader::fail(const char* fault)
{
  if (!fault_)
    fault_ = fault;
  return false;
}

bool ProgramReader::failToRead()
{
  isCutShort_ = true;
  return fail(cutShort);
}

const char* ProgramReader::fault() const
{
  const bool hasFailed = plugin_.faultCount() != faultsBefore_ || plugin_.hasFaulted();
  return hasFailed ? pluginFailed : fault_;
}

// ---- programs ----

int32_t ProgramReader::readProgram()
{
  int32_t word = 0;
  if (!stream_.readInt32(word))
    return failToRead();
  if (word != chunkMagic)
    return fail(noProgram);
  if (!stream_.readInt32(word) || !stream_.readInt32(word)) // the size isn't needed, the form is
    return failToRead();
  if (word == parameterProgram)
    return readParameterProgram();
  if (word == chunkProgram && plugin_.takesChunks())
    return readChunkProgram();
  return fail(word == chunkProgram ? wantsNoChunk : noProgram);
}

int32_t ProgramReader::readParameterProgram()
{
  OrbBankInfo info{};
  if (!readInfo(info))
    return 0;
  if (!mayLoadProgram(info)) {
    const int64_t parameters = std::max(info.count, 0) * parameterBytes;
    stream_.seek(parameters + nameBytes, SeekMode::current);
    return 0;
  }
  const ProgramBeingSet set(plugin_);
  char name[nameBytes];
  if (!readName(name))
    return 0;
  setName(name);
  return readParameters(info.count);
}

/// As many as there are, though the plug-in may have fewer.
bool ProgramReader::readParameters(int32_t count)
{
  float value = 0.0f;
  for (int32_t i = 0; i < count; ++i) {
    if (!stream_.readFloat(value))
      return failToRead();
    plugin_.setParameter(i, value);
  }
  return true;
}

/// A refused one is read past, and then a reader of the next program finds its start.
int32_t ProgramReader::readChunkProgram()
{
  OrbBankInfo info{};
  char name[nameBytes];
  if (!readInfo(info))
    return 0;
  if (!mayLoadProgram(info))
    return readName(name) && readChunk(ChunkOf::program, Use::passOver);
  const ProgramBeingSet set(plugin_);
  if (!readName(name))
    return 0;
  setName(name);
  return readChunk(ChunkOf::program, Use::load);
}

bool ProgramReader::mayLoadProgram(const OrbBankInfo& info)
{
  OrbBankInfo asked = info; // the plug-in may write to it
  const int64_t answer = plugin_.dispatch(opBeginLoadProgram, 0, 0, &asked);
  if (answer < 0)
    return fail(pluginRefused);
  return answer > 0 || info.pluginId == plugin_.uniqueId() || fail(foreign);
}

void ProgramReader::setName(char* name)
{
  const auto current = static_cast<int32_t>(plugin_.dispatch(opGetProgram));
  plugin_.dispatch(opSetProgramName, current, 0, name);
}

// ---- banks ----

int32_t ProgramReader::readBank()
{
  int32_t magic = 0, bytes = 0, form = 0;
  int64_t payload = 0;
  if (stream_.readInt32(magic) && magic == chunkMagic && stream_.readInt32(bytes)) {
    payload = stream_.tell();
    stream_.readInt32(form);
  }
  int32_t result = 0;
  if (form == parameterBank)
    result = readParameterBank();
  else if (form == chunkBank && plugin_.takesChunks())
    result = readChunkBank();
  else
    fail(form == chunkBank ? wantsNoChunk : noBank);
  if (result == 0 && bytes > 0) // whoever reads on finds what follows
    stream_.seek(payload + bytes, SeekMode::start);
  return result;
}

/// A bank counts as read when it was accepted, though a program in it may not; not when its bytes
/// end too soon. A plug-in that said yes to more programs than it has gets each of the others in
/// the place of its last one, which stays the current program: what to do with them is its choice.
int32_t ProgramReader::readParameterBank()
{
  OrbBankInfo info{};
  if (!readInfo(info) || !mayLoadBank(info))
    return 0;
  stream_.seek(reservedBytes, SeekMode::current);
  const auto current = static_cast<int32_t>(plugin_.dispatch(opGetProgram));
  for (int32_t i = 0; i < info.count; ++i) {
    plugin_.setProgram(i);
    if (readProgram() == 0 || plugin_.hasFaulted())
      break;
  }
  if (!plugin_.hasFaulted())
    plugin_.setProgram(current);
  return !isCutShort_;
}

int32_t ProgramReader::readChunkBank()
{
  OrbBankInfo info{};
  if (!readInfo(info))
    return 0;
  const Use use = mayLoadBank(info) ? Use::load : Use::passOver;
  stream_.seek(reservedBytes, SeekMode::current);
  return readChunk(ChunkOf::bank, use);
}

/// What the plug-in has no opinion of must be of its own id, of a version that it knows and of no
/// more programs than it has.
bool ProgramReader::mayLoadBank(const OrbBankInfo& info)
{
  OrbBankInfo asked = info;
  const int64_t answer = plugin_.dispatch(opBeginLoadBank, 0, 0, &asked);
  if (answer < 0)
    return fail(pluginRefused);
  if (answer > 0)
    return true;
  if (info.pluginId != plugin_.uniqueId())
    return fail(foreign);
  if (info.pluginVersion > plugin_.version())
    return fail(tooNew);
  return info.count <= plugin_.numPrograms() || fail(tooMany);
}

// ---- their parts ----

bool ProgramReader::readInfo(OrbBankInfo& info)
{
  return (stream_.readInt32(info.formatVersion) && stream_.readInt32(info.pluginId) &&
          stream_.readInt32(info.pluginVersion) && stream_.readInt32(info.count)) ||
         failToRead();
}

bool ProgramReader::readName(char* name)
{
  if (stream_.read(name, nameBytes) != nameBytes)
    return failToRead();
  name[nameBytes - 1] = 0;
  return true;
}

bool ProgramReader::readChunk(ChunkOf what, Use use)
{
  int32_t bytes = 0;
  if (!stream_.readInt32(bytes))
    return failToRead();
  if (bytes < 1)
    return true;
  const int64_t end = stream_.tell() + bytes;
  if (use == Use::passOver) {
    stream_.seek(end, SeekMode::start);
    return true;
  }
  FBuffer chunk;
  if (!takeChunk(chunk, static_cast<uint32_t>(bytes), end))
    return false;
  if (chunk.used() > 0)
    plugin_.dispatch(opSetChunk, static_cast<int32_t>(what), bytes, chunk.data());
  return true;
}

/// False when the stream ends before the chunk does. Without memory for it the chunk stays empty
/// and is passed over.
bool ProgramReader::takeChunk(FBuffer& chunk, uint32_t bytes, int64_t end)
{
  uint8_t next = 0;
  if (stream_.readBytes(chunk, bytes))
    return true;
  if (!stream_.readUint8(next))
    return failToRead();
  chunk.setCapacity(0);
  fail(noMemory);
  stream_.seek(end, SeekMode::start);
  return true;
}

} // namespace orbi
