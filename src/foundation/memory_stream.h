#pragma once

#include "foundation/stream.h"

namespace orbi {

/// Stream over a block of memory, its own or the caller's.
class FMemoryStream : public CmClass<FMemoryStream, FStream> {
public:
  static constexpr const char* className = "FMemoryStream";

  FMemoryStream() = default;
  /// Over the caller's block, which can't grow: an attempt makes the stream invalid.
  FMemoryStream(void* block, int64_t size);
  FMemoryStream(const FMemoryStream& other);
  FMemoryStream(FMemoryStream&& other) noexcept; ///< leaves the source empty and owning
  ~FMemoryStream() override;
  FMemoryStream& operator=(const FMemoryStream& other);
  FMemoryStream& operator=(FMemoryStream&& other) noexcept;

  using FStream::read;
  using FStream::write;
  int64_t read(void* buffer, int64_t count) override;
  int64_t write(const void* buffer, int64_t count) override;
  /// Start and current aren't checked; from the end the result is clamped to the size.
  int64_t seek(int64_t offset, SeekMode mode) override;
  int64_t tell() override { return position_; }
  void rewind() override { position_ = 0; }
  bool isValid() const override { return !failed_; }
  bool copyTo(FStream& target) override;

  const uint8_t* data() const { return data_; } ///< null for none
  int64_t size() const { return size_; }
  int64_t capacity() const { return capacity_; }
  bool ownsBuffer() const { return ownsBuffer_; }

  bool resize(int64_t size); ///< below 1 frees the block; new bytes are zero
  void trimCapacity();       ///< to the size
  void truncateToPosition();

  // As an object: 32-bit size and the bytes, then rewound; among attributes binary under "Data"
  bool read(FStream& stream) override;
  bool write(FStream& stream) const override;
  bool storeAttributes(FAttributes& attributes) const override;
  bool loadAttributes(const FAttributes& attributes) override;

private:
  bool grow(int64_t size);
  void dropBlock();
  void swap(FMemoryStream& other) noexcept;

  uint8_t* data_ = nullptr;
  int64_t capacity_ = 0;
  int64_t size_ = 0;
  bool ownsBuffer_ = true;
  bool failed_ = false;
  int64_t position_ = 0;
};

} // namespace orbi
