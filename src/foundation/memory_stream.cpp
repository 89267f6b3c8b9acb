#include "foundation/memory_stream.h"

#include "foundation/attributes.h"
#include "foundation/buffer.h"
#include "foundation/class_registry.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace orbi {

CM_REGISTER(FMemoryStream);

namespace {
constexpr int64_t capacityStep = 4096;
} // namespace

FMemoryStream::FMemoryStream(void* block, int64_t size)
    : data_(static_cast<uint8_t*>(block)), capacity_(block ? std::max<int64_t>(size, 0) : 0),
      size_(capacity_), ownsBuffer_(false)
{
}

FMemoryStream::FMemoryStream(const FMemoryStream& other) : CmClass(other)
{
  *this = other;
}

FMemoryStream::FMemoryStream(FMemoryStream&& other) noexcept
{
  swap(other);
}

FMemoryStream::~FMemoryStream()
{
  dropBlock();
}

FMemoryStream& FMemoryStream::operator=(const FMemoryStream& other)
{
  if (this == &other)
    return *this;
  resize(0);
  failed_ = false;
  write(other.data_, other.size_);
  position_ = other.position_;
  setFileType(other.fileType());
  setSwapsBytes(other.swapsBytes());
  return *this;
}

FMemoryStream& FMemoryStream::operator=(FMemoryStream&& other) noexcept
{
  if (this != &other) {
    FMemoryStream old;
    swap(old);
    swap(other);
  }
  return *this;
}

void FMemoryStream::swap(FMemoryStream& other) noexcept
{
  std::swap(data_, other.data_);
  std::swap(capacity_, other.capacity_);
  std::swap(size_, other.size_);
  std::swap(ownsBuffer_, other.ownsBuffer_);
  std::swap(failed_, other.failed_);
  std::swap(position_, other.position_);
  const FFileType type = fileType();
  const bool swapped = swapsBytes();
  setFileType(other.fileType());
  setSwapsBytes(other.swapsBytes());
  other.setFileType(type);
  other.setSwapsBytes(swapped);
}

void FMemoryStream::dropBlock()
{
  if (ownsBuffer_)
    std::free(data_);
  data_ = nullptr;
  capacity_ = size_ = position_ = 0;
  ownsBuffer_ = true;
}

int64_t FMemoryStream::read(void* buffer, int64_t count)
{
  if (!buffer || count < 1 || position_ < 0)
    return 0;
  int64_t left = size_ - position_;
  if (left <= 0) {
    position_ = size_;
    return 0;
  }
  count = std::min(count, left);
  std::memcpy(buffer, data_ + position_, static_cast<size_t>(count));
  position_ += count;
  return count;
}

int64_t FMemoryStream::write(const void* buffer, int64_t count)
{
  if (failed_ || !buffer || count < 1 || position_ < 0 || count > INT64_MAX - position_)
    return 0;
  if (position_ + count > size_ && !grow(position_ + count))
    return 0;
  std::memcpy(data_ + position_, buffer, static_cast<size_t>(count));
  position_ += count;
  return count;
}

/// Makes the size what is asked for; new bytes are zero.
bool FMemoryStream::grow(int64_t size)
{
  if (size > capacity_) {
    if (!ownsBuffer_) {
      failed_ = true;
      return false;
    }
    void* moved = nullptr;
    int64_t capacity = 0;
    if (size <= INT64_MAX - capacityStep) {
      capacity = (size + capacityStep - 1) / capacityStep * capacityStep;
      moved = std::realloc(data_, static_cast<size_t>(capacity));
    }
    if (!moved) {
      dropBlock();
      failed_ = true;
      return false;
    }
    data_ = static_cast<uint8_t*>(moved);
    capacity_ = capacity;
  }
  std::memset(data_ + size_, 0, static_cast<size_t>(size - size_));
  size_ = size;
  return true;
}

int64_t FMemoryStream::seek(int64_t offset, SeekMode mode)
{
  if (mode == SeekMode::start)
    position_ = offset;
  else if (mode == SeekMode::current) {
    if (__builtin_add_overflow(position_, offset, &position_))
      position_ = offset < 0 ? INT64_MIN : INT64_MAX;
  } else
    position_ = offset >= 0 ? size_ : size_ + offset;
  return position_;
}

bool FMemoryStream::copyTo(FStream& target)
{
  if (position_ != 0)
    rewind();
  return size_ == 0 || target.write(data_, size_) == size_;
}

bool FMemoryStream::resize(int64_t size)
{
  if (size <= 0) {
    dropBlock();
    return true;
  }
  if (size > size_)
    return grow(size);
  size_ = size;
  return true;
}

void FMemoryStream::trimCapacity()
{
  if (!ownsBuffer_ || capacity_ == size_)
    return;
  if (size_ == 0) {
    dropBlock();
    return;
  }
  if (auto* moved = static_cast<uint8_t*>(std::realloc(data_, static_cast<size_t>(size_)))) {
    data_ = moved;
    capacity_ = size_;
  }
}

void FMemoryStream::truncateToPosition()
{
  size_ = std::clamp<int64_t>(position_, 0, size_);
}

bool FMemoryStream::write(FStream& stream) const
{
  if (size_ > UINT32_MAX)
    return false;
  auto bytes = static_cast<uint32_t>(data_ ? size_ : 0);
  return stream.writeUint32(bytes) && (bytes == 0 || stream.write(data_, size_) == size_);
}

bool FMemoryStream::read(FStream& stream)
{
  uint32_t stored = 0;
  FBuffer bytes;
  if (!stream.readUint32(stored) || !stream.readBytes(bytes, stored))
    return false;
  resize(0);
  failed_ = false;
  if (!resize(stored))
    return false;
  if (stored > 0)
    std::memcpy(data_, bytes.data(), stored);
  rewind();
  return true;
}

bool FMemoryStream::storeAttributes(FAttributes& attributes) const
{
  return attributes.setBinary("Data", data_, size_, true) == 0;
}

bool FMemoryStream::loadAttributes(const FAttributes& attributes)
{
  if (!attributes.has("Data"))
    return false;
  int64_t stored = attributes.getBinarySize("Data");
  FMemoryStream loaded;
  loaded.setFileType(fileType());
  loaded.setSwapsBytes(swapsBytes());
  if (stored > 0 &&
      (!loaded.resize(stored) || attributes.getBinary("Data", loaded.data_, stored) != 0))
    return false;
  *this = std::move(loaded);
  return true;
}

} // namespace orbi
