#pragma once

#include "foundation/object.h"

namespace orbi {

/// Growing block of bytes. Growing keeps what was there and zeroes what is new; without memory the
/// block stays as it was.
class FBuffer {
public:
  explicit FBuffer(uint32_t growBy = 32) : growBy_(growBy) {}
  FBuffer(const FBuffer& other);
  FBuffer(FBuffer&& other) noexcept { swap(other); }
  ~FBuffer();
  FBuffer& operator=(FBuffer other) noexcept
  {
    swap(other);
    return *this;
  }

  uint8_t* data() { return data_; } ///< null until something was reserved
  const uint8_t* data() const { return data_; }
  uint32_t capacity() const { return capacity_; }
  uint32_t used() const { return used_; }
  uint32_t growBy() const { return growBy_; }
  void setGrowBy(uint32_t growBy) { growBy_ = growBy; }

  /// Grows by growBy when full. Without memory for the first byte nothing is stored, and the answer
  /// is true all the same.
  bool append(uint8_t byte);
  bool append(const void* bytes, uint32_t count); ///< may be bytes of its own

  bool reserve(uint32_t capacity);
  bool setCapacity(uint32_t capacity); ///< shrinks as well, cutting what is used; 0 frees
  bool setUsed(uint32_t used);  ///< reserves what is missing, zeroed; false leaves it as it was
  bool moveUsed(uint32_t used); ///< likewise, but bytes of the capacity come back as they were
  void clear() { used_ = 0; }
  void swap(FBuffer& other) noexcept;

private:
  uint8_t* data_ = nullptr;
  uint32_t capacity_ = 0;
  uint32_t used_ = 0;
  uint32_t growBy_ = 32;
};

/// A block of bytes as an object; also the binary value of an attribute that owns its copy.
class CmBuffer final : public CmClass<CmBuffer, CmObject> {
public:
  static constexpr const char* className = "CmBuffer";

  CmBuffer() = default;
  CmBuffer(const void* bytes, uint32_t count) { buffer.append(bytes, count); }

  bool isEqual(const CmObject* other) const override; ///< same bytes
  uint32_t hash(uint32_t tableSize) const override;
  bool read(FStream& stream) override; ///< 32-bit size and the bytes
  bool write(FStream& stream) const override;

  FBuffer buffer;
};

} // namespace orbi
