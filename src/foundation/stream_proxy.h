#pragma once

#include "foundation/ref.h"
#include "foundation/stream.h"

namespace orbi {

/// Window onto a part of another stream, which it keeps a reference to. Every transfer seeks the
/// source first, so many windows share one source, on one thread.
class FStreamProxy final : public CmClass<FStreamProxy, FStream> {
public:
  static constexpr const char* className = "FStreamProxy";

  FStreamProxy() = default;
  /// The window starts at base, in bytes of the source; a length below 1 reaches to its end.
  FStreamProxy(FStream* source, int64_t base, int64_t length);

  using FStream::read;
  using FStream::write;
  int64_t read(void* buffer, int64_t count) override;
  int64_t write(const void* buffer, int64_t count) override;
  int64_t seek(int64_t offset, SeekMode mode) override; ///< stays within the window
  int64_t tell() override { return source_ ? position_ - base_ : -1; }
  void rewind() override { position_ = base_; }
  bool flush() override { return source_ && source_->flush(); }
  bool isValid() const override { return source_ && source_->isValid(); }

private:
  int64_t prepare(int64_t count);
  int64_t finish(int64_t moved);

  Ref<FStream> source_;
  int64_t base_ = 0;
  int64_t position_ = 0; ///< in the source
  int64_t length_ = 0;
};

} // namespace orbi
