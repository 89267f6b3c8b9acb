#pragma once

#include "foundation/buffer.h"
#include "foundation/stream.h"

namespace orbi {

/// Stream over a buffer of somebody else's, which has to outlive it. The one cursor is the buffer's
/// used count, so reading and seeking change what counts as used; what can be read lies between it
/// and the capacity.
class FBufferStream final : public CmClass<FBufferStream, FStream> {
public:
  static constexpr const char* className = "FBufferStream";

  explicit FBufferStream(FBuffer& buffer) : buffer_(&buffer) {}

  using FStream::read;
  using FStream::write;
  int64_t read(void* buffer, int64_t count) override; ///< at the capacity's end empties the buffer
  int64_t write(const void* buffer, int64_t count) override;
  /// Changes the buffer's length, growing the buffer where needed. From the end, a positive offset
  /// counts backwards. A target below 0 or beyond 32 bits changes nothing.
  int64_t seek(int64_t offset, SeekMode mode) override;
  int64_t tell() override { return buffer_->used(); }
  void rewind() override { buffer_->clear(); }

private:
  FBuffer* buffer_;
};

} // namespace orbi
