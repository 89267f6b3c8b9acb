#include "foundation/stream.h"

#include "foundation/buffer.h"
#include "foundation/class_registry.h"

#include <algorithm>

namespace orbi {

CM_REGISTER_ABSTRACT(FStream);

CmResult FStream::queryInterface(const FUID& id, void** out)
{
  if (out && id == IStream::interfaceId) {
    retain();
    *out = static_cast<IStream*>(this);
    return resultOk;
  }
  return CmObject::queryInterface(id, out);
}

bool FStream::copyTo(FStream& target)
{
  constexpr int64_t chunk = 1024;
  if (tell() != 0)
    rewind();
  char bytes[chunk];
  for (;;) {
    int64_t count = read(bytes, chunk);
    if (count > 0 && target.write(bytes, count) != count)
      return false;
    if (count < chunk)
      return count >= 0; // a cancelled copy isn't the whole stream
  }
}

int64_t FStream::readLine(char* buffer, int64_t size)
{
  int64_t length = 0;
  while (length < size && read(buffer + length, 1) == 1) {
    char c = buffer[length];
    if (c == 0)
      break;
    ++length;
    if (c != '\n')
      continue;
    if (length >= 2 && buffer[length - 2] == '\r')
      length -= 2;
    break;
  }
  buffer[length] = 0;
  return length;
}

bool FStream::writeString(const char* text, bool withTerminator)
{
  text = text ? text : "";
  auto count = static_cast<int64_t>(std::strlen(text)) + (withTerminator ? 1 : 0);
  return write(text, count) == count;
}

bool FStream::readBool(bool& value)
{
  uint16_t word = 0;
  bool complete = readUint16(word);
  value = word != 0;
  return complete;
}

bool FStream::writeText(const char* text)
{
  if (!text)
    return writeInt32(0);
  size_t length = std::strlen(text) + 1;
  return length <= INT32_MAX && writeInt32(static_cast<int32_t>(length)) &&
         write(text, static_cast<int64_t>(length)) == static_cast<int64_t>(length);
}

char* FStream::readText()
{
  std::unique_ptr<char[]> text;
  readText(text);
  return text.release();
}

bool FStream::readText(std::unique_ptr<char[]>& text)
{
  int32_t length = 0;
  FBuffer bytes;
  text = nullptr;
  if (!readInt32(length) || length < 0)
    return false;
  if (length == 0)
    return true;
  if (!readBytes(bytes, static_cast<uint32_t>(length)))
    return false;
  text = std::make_unique<char[]>(bytes.used() + size_t(1));
  std::memcpy(text.get(), bytes.data(), bytes.used());
  text[bytes.used()] = 0;
  return true;
}

bool FStream::readBytes(FBuffer& buffer, uint32_t count)
{
  constexpr uint32_t chunk = 65536;
  if (count > UINT32_MAX - buffer.used())
    return false;
  while (count > 0) {
    uint32_t before = buffer.used();
    uint32_t wanted = std::min(count, chunk);
    if (!buffer.reserve(std::max(before + wanted, std::min(before * 2, before + count))))
      return false;
    if (!buffer.setUsed(before + wanted))
      return false;
    int64_t got = std::max<int64_t>(read(buffer.data() + before, wanted), 0);
    if (got < wanted) {
      buffer.setUsed(before + static_cast<uint32_t>(got));
      return false;
    }
    count -= wanted;
  }
  return true;
}

int64_t FStream::beginBlock()
{
  int64_t start = tell();
  return writeUint32(0) ? start : -1;
}

bool FStream::endBlock(int64_t start)
{
  int64_t end = tell();
  if (start < 0 || end < start + 4 || end - start - 4 > INT64_C(0xFFFFFFFF))
    return false;
  seek(start, SeekMode::start);
  bool written = writeUint32(static_cast<uint32_t>(end - start - 4));
  seek(end, SeekMode::start); // the block's end, which not every stream knows as its own
  return written;
}

std::optional<int64_t> FStream::readBlock()
{
  int64_t start = tell();
  uint32_t length = 0;
  if (!readUint32(length))
    return std::nullopt;
  return start + length + 4;
}

void FStream::swapOrder(void* bytes, size_t size)
{
  auto* first = static_cast<uint8_t*>(bytes);
  std::reverse(first, first + size);
}

} // namespace orbi
