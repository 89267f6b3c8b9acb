#include "midi/midi_event.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/stream.h"

#include <new>
#include <vector>

namespace orbi {

CM_REGISTER(PMidiEvent);
CM_REGISTER_ABSTRACT(PMidiStringBase);
CM_REGISTER(PSysexChunk);
CM_REGISTER(PSysexEvent);
CM_REGISTER(PMidiString);
CM_REGISTER(PSmfEvent);
CM_REGISTER(PCrescendo);

namespace {

constexpr uint8_t noBytes[1] = {0};

} // namespace

PMidiEvent::PMidiEvent(const PMidiEvent& other)
    : CmClass(other), status(other.status), data1(other.data1), data2(other.data2),
      data3(other.data3)
{
  flags |= eventMidi;
}

void PMidiEvent::setStatus(int32_t value)
{
  status = static_cast<uint8_t>(value >= 240 ? value : (status & 15) | value);
}

void PMidiEvent::setChannel(int32_t channel)
{
  if (status < 240)
    status = static_cast<uint8_t>((status & 0xF0) | (channel & 15));
}

// ---- chunk ----

bool PSysexChunk::write(FStream& stream) const
{
  uint32_t size = getSize();
  return stream.writeUint32(size) && stream.writeUint32(size) &&
         (size == 0 || stream.write(getData(), size) == size);
}

bool PSysexChunk::read(FStream& stream)
{
  uint32_t capacity = 0;
  uint32_t used = 0;
  FBuffer loaded(32);
  if (!stream.readUint32(capacity) || !stream.readUint32(used) || !stream.readBytes(loaded, used))
    return false;
  bytes_ = std::move(loaded);
  return true;
}

bool PSysexChunk::storeAttributes(FAttributes& attributes) const
{
  attributes.setInt("ChunkSize0", getSize());
  return attributes.setBinary("Chunk0", getData(), getSize(), true) == 0;
}

bool PSysexChunk::loadAttributes(const FAttributes& attributes)
{
  int64_t blocks = 1;
  attributes.getInt("ChunkCounter", blocks);
  FBuffer loaded(bytes_); // what is read is appended; a damaged block changes nothing
  CmString key;
  for (int64_t i = 0; i < blocks; ++i) {
    int64_t size = 0;
    key.format("ChunkSize%lld", static_cast<long long>(i));
    if (!attributes.getInt(key.text(), size))
      break;
    key.format("Chunk%lld", static_cast<long long>(i));
    if (size < 0 || size > attributes.getBinarySize(key.text()))
      return false;
    std::vector<uint8_t> block(static_cast<size_t>(size));
    if (size > 0 && (attributes.getBinary(key.text(), block.data(), size) != 0 ||
                     !loaded.append(block.data(), static_cast<uint32_t>(size))))
      return false;
  }
  bytes_ = std::move(loaded);
  return true;
}

// ---- system exclusive ----

PSysexEvent::PSysexEvent(const PSysexEvent& other) : CmClass(other)
{
  data_ = other.data_;
  if (data_)
    data_->retain();
}

PSysexEvent::~PSysexEvent()
{
  if (data_)
    data_->releaseRef();
}

bool PSysexEvent::require()
{
  if (!data_)
    data_ = new (std::nothrow) PSysexChunk;
  return data_ != nullptr;
}

bool PSysexEvent::append(uint8_t byte)
{
  return require() && chunk()->append(byte);
}

bool PSysexEvent::append(const void* bytes, uint32_t count)
{
  return require() && chunk()->append(bytes, count);
}

const uint8_t* PSysexEvent::getData() const
{
  return chunk() && chunk()->getData() ? chunk()->getData() : noBytes;
}

// ---- chain ----

PMidiString::PMidiString()
{
  data_ = new CmArray(CmOwnership::adopts);
}

PMidiString::PMidiString(const PMidiString& other) : CmClass(other)
{
  data_ = new CmArray(CmOwnership::adopts);
  for (CmObject* child : *other.children())
    children()->add(child->clone());
  if (other.bytes_)
    append(other.bytes_->getData(), other.bytes_->getSize());
}

PMidiString::~PMidiString()
{
  children()->setOwnership(CmOwnership::adopts);
  children()->releaseRef();
}

bool PMidiString::addEvent(PEvent* event)
{
  return event && children()->add(event);
}

uint32_t PMidiString::count() const
{
  return children()->count();
}

CmObject* PMidiString::itemAt(int32_t index) const
{
  return children()->at(index);
}

bool PMidiString::require()
{
  if (!bytes_)
    bytes_ = Ref<PSysexChunk>::adopt(new (std::nothrow) PSysexChunk);
  return static_cast<bool>(bytes_);
}

bool PMidiString::append(uint8_t byte)
{
  return require() && bytes_->append(byte);
}

bool PMidiString::append(const void* bytes, uint32_t count)
{
  return require() && bytes_->append(bytes, count);
}

const uint8_t* PMidiString::getData() const
{
  return bytes_ && bytes_->getData() ? bytes_->getData() : noBytes;
}

// ---- meta event ----

PSmfEvent::PSmfEvent(const PSmfEvent& other)
    : CmClass(other), metaType(other.metaType), deltaField(other.deltaField), block_(other.block_)
{
}

bool PSmfEvent::setData(const void* bytes, uint32_t count)
{
  FBuffer block;
  if (!block.append(bytes, count))
    return false;
  block_ = std::move(block);
  return true;
}

} // namespace orbi
