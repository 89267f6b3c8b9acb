#pragma once

#include "foundation/ref.h"
#include "foundation/stream.h"
#include "foundation/text_buffer_pool.h"

namespace orbi {

class FFileStream;

/// Cache of one page over another stream, which it keeps a reference to and which nobody else moves
/// meanwhile. Starts where the source stands. What the destructor writes can fail unseen: flush
/// first, and look at the answer.
class FBufferedStream final : public CmClass<FBufferedStream, FStream> {
public:
  static constexpr const char* className = "FBufferedStream";
  static constexpr int64_t usualPage = 4096; ///< bytes

  /// The pool has to outlive the stream.
  FBufferedStream(FStream* source, TextBufferPool& pool, int64_t pageSize = usualPage);
  FBufferedStream(const FBufferedStream&) = delete;
  ~FBufferedStream() override;

  using FStream::read;
  using FStream::write;
  int64_t read(void* buffer, int64_t count) override; ///< asks the monitor first; writing doesn't
  int64_t write(const void* buffer, int64_t count) override;
  /// From the end isn't supported and leaves the position as it stands; so does a target below 0.
  int64_t seek(int64_t offset, SeekMode mode) override;
  int64_t tell() override { return position_; }
  void rewind() override { seek(0, SeekMode::start); }
  /// Hands the page to the source. False as well when an earlier hand-over failed since the last
  /// call; what was lost then stays lost.
  bool flush() override;
  bool isValid() const override { return source_ && page_ && source_->isValid(); }
  void setProgress(FProgressMonitor* monitor) override { monitor_ = monitor; }

private:
  int64_t offsetInPage() const { return position_ % pageSize_; }
  bool readsPastPage(int64_t count) const;
  int64_t readDirect(void* buffer, int64_t count);
  int64_t readPages(uint8_t* to, int64_t count);
  int64_t loadPage();
  int64_t writeDirect(const void* buffer, int64_t count);
  int64_t writePages(const uint8_t* from, int64_t count);
  bool followPosition();
  bool writePage();
  void emptyPage();

  Ref<FStream> source_;
  FFileStream* file_; ///< the source, when it is a file
  int64_t pageSize_;
  PoolBuffer page_;
  int64_t pageNumber_ = 0;
  int64_t position_ = 0;
  int64_t filled_ = 0;     ///< where the page's bytes end
  int64_t firstDirty_ = 0; ///< while dirty_
  bool writing_ = false;   ///< the page was started by a write: nothing stands before firstDirty_
  bool dirty_ = false;
  bool lost_ = false; ///< a hand-over failed since the last flush
  FProgressMonitor* monitor_ = nullptr;
};

} // namespace orbi
