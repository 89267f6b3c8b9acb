#pragma once

#include "foundation/ref.h"
#include "foundation/stream.h"

#include <memory>

namespace orbi {

/// Reads ahead of another stream in blocks, for reading forward. Keeps a reference to the source,
/// which nobody else moves meanwhile; starts where the source stands.
class FBlockStreamReader final : public CmClass<FBlockStreamReader, FStream> {
public:
  static constexpr const char* className = "FBlockStreamReader";
  static constexpr int64_t usualBlock = 4096; ///< bytes

  explicit FBlockStreamReader(FStream* source, int64_t blockSize = usualBlock);
  FBlockStreamReader(const FBlockStreamReader&) = delete;

  using FStream::read;
  using FStream::write;
  int64_t read(void* buffer, int64_t count) override;
  int64_t write(const void*, int64_t) override { return 0; }
  int64_t seek(int64_t offset, SeekMode mode) override; ///< -1 from the end
  int64_t tell() override { return position_; }
  void rewind() override { seek(0, SeekMode::start); }
  bool isValid() const override { return source_ && block_ && source_->isValid(); }

private:
  int64_t takeFromBlock(uint8_t* to, int64_t count);
  int64_t readSource(void* to);

  Ref<FStream> source_;
  int64_t blockSize_;
  std::unique_ptr<uint8_t[]> block_;
  int64_t position_ = 0;
  int64_t offset_ = 0; ///< of the position in the block
  int64_t left_ = 0;   ///< bytes in the block behind it
};

} // namespace orbi
