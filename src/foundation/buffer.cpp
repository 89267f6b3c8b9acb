#include "foundation/buffer.h"

#include "foundation/class_registry.h"
#include "foundation/stream.h"

#include <algorithm>
#include <cstdlib>

namespace orbi {

CM_REGISTER(CmBuffer);

FBuffer::FBuffer(const FBuffer& other) : growBy_(other.growBy_)
{
  append(other.data_, other.used_);
}

FBuffer::~FBuffer()
{
  std::free(data_);
}

void FBuffer::swap(FBuffer& other) noexcept
{
  std::swap(data_, other.data_);
  std::swap(capacity_, other.capacity_);
  std::swap(used_, other.used_);
  std::swap(growBy_, other.growBy_);
}

bool FBuffer::setCapacity(uint32_t capacity)
{
  if (capacity == capacity_)
    return true;
  if (capacity == 0) {
    std::free(data_);
    data_ = nullptr;
    capacity_ = used_ = 0;
    return true;
  }
  auto* moved = static_cast<uint8_t*>(std::realloc(data_, capacity));
  if (!moved)
    return false;
  if (capacity > capacity_)
    std::memset(moved + capacity_, 0, capacity - capacity_);
  data_ = moved;
  capacity_ = capacity;
  used_ = std::min(used_, capacity);
  return true;
}

bool FBuffer::reserve(uint32_t capacity)
{
  return capacity <= capacity_ || setCapacity(capacity);
}

bool FBuffer::setUsed(uint32_t used)
{
  if (!reserve(used))
    return false;
  if (used > used_)
    std::memset(data_ + used_, 0, used - used_);
  used_ = used;
  return true;
}

bool FBuffer::moveUsed(uint32_t used)
{
  if (!reserve(used))
    return false;
  used_ = used;
  return true;
}

bool FBuffer::append(uint8_t byte)
{
  if (used_ == capacity_) {
    uint64_t wanted = uint64_t(capacity_) + std::max(growBy_, 1u);
    if (wanted > UINT32_MAX || !reserve(static_cast<uint32_t>(wanted)))
      return data_ == nullptr;
  }
  data_[used_++] = byte;
  return true;
}

bool FBuffer::append(const void* bytes, uint32_t count)
{
  if (count == 0)
    return true;
  uint64_t needed = uint64_t(used_) + count;
  if (!bytes || needed > UINT32_MAX)
    return false;
  auto* source = static_cast<const uint8_t*>(bytes);
  bool isOwn = data_ && source >= data_ && source < data_ + used_;
  size_t offset = isOwn ? static_cast<size_t>(source - data_) : 0;
  if (needed > capacity_) {
    uint64_t generous = std::max(uint64_t(capacity_) + growBy_ + count, needed);
    if (!reserve(static_cast<uint32_t>(std::min<uint64_t>(generous, UINT32_MAX))))
      return false;
  }
  std::memmove(data_ + used_, isOwn ? data_ + offset : source, count);
  used_ = static_cast<uint32_t>(needed);
  return true;
}

bool CmBuffer::isEqual(const CmObject* other) const
{
  auto* block = castTo<CmBuffer>(other);
  return block && block->buffer.used() == buffer.used() &&
         (buffer.used() == 0 ||
          std::memcmp(block->buffer.data(), buffer.data(), buffer.used()) == 0);
}

uint32_t CmBuffer::hash(uint32_t tableSize) const
{
  uint32_t sum = 2166136261u;
  for (uint32_t i = 0; i < buffer.used(); ++i)
    sum = (sum ^ buffer.data()[i]) * 16777619u;
  return tableSize ? sum % tableSize : 0;
}

bool CmBuffer::read(FStream& stream)
{
  uint32_t size = 0;
  buffer.clear();
  return stream.readUint32(size) && stream.readBytes(buffer, size);
}

bool CmBuffer::write(FStream& stream) const
{
  return stream.writeUint32(buffer.used()) &&
         stream.write(buffer.data(), buffer.used()) == buffer.used();
}

} // namespace orbi
