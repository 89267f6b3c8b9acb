#pragma once

#include "foundation/stream.h"

namespace orbi {

/// Measures what a write would write. Stores nothing and reads nothing.
class FStreamCounter final : public CmClass<FStreamCounter, FStream> {
public:
  static constexpr const char* className = "FStreamCounter";

  using FStream::read;
  using FStream::write;
  int64_t read(void*, int64_t) override { return 0; }
  int64_t write(const void* buffer, int64_t count) override; ///< doesn't look at the bytes
  /// From the end, a positive offset counts backwards. Below the start is the start.
  int64_t seek(int64_t offset, SeekMode mode) override;
  int64_t tell() override { return position_; }
  void rewind() override { position_ = maximum_ = 0; }

  int64_t maximum() const { return maximum_; } ///< bytes that a stream would have now

private:
  int64_t moveTo(int64_t position);

  int64_t position_ = 0;
  int64_t maximum_ = 0;
};

} // namespace orbi
